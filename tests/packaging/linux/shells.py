"""What bash, fish and zsh complete, asked of the shells themselves."""

import os
import pty
import subprocess
import tempfile

BASH = r"""
. /usr/share/bash-completion/bash_completion
. "$COMPLETIONS/quillet.bash"
while IFS= read -r COMP_LINE; do
    read -r -a COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_POINT=${#COMP_LINE} COMPREPLY=()
    _quillet 2>/dev/null
    printf '%s\n' "${COMPREPLY[@]}" ENDS
done <"$LINES_FILE" >"$ANSWERS_FILE"
"""

FISH = r"""
source $COMPLETIONS/quillet.fish
while read --line line
    complete -C $line | string replace -r '\t.*' ''
    echo ENDS
end <$LINES_FILE >$ANSWERS_FILE
"""

# The line editor of zsh completes only in a terminal. Every match goes through compadd.
ZSH = r"""
fpath=($COMPLETIONS $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {
    local -a found
    case " ${(j: :)@[1,(i)(-|--)]}" in
        *\ -(O|A|D)*) builtin compadd "$@"; return ;;
    esac
    builtin compadd -O found "$@"
    print -rl -- $found >>$ANSWERS_FILE
    builtin compadd "$@"
}
zle-line-init() {
    local line
    for line in ${(f)"$(<$LINES_FILE)"}; do
        BUFFER=$line CURSOR=$#line
        zle list-choices
        print -r ENDS >>$ANSWERS_FILE
    done
    exit
}
zle -N zle-line-init
LISTMAX=100000
"""


def ask(shell, lines, folder, environment):
    """For each of `lines`, the set of words that `shell` offers behind it; `folder` is where it stands."""
    with tempfile.TemporaryDirectory() as home:
        files = {name: os.path.join(home, name) for name in ("LINES_FILE", "ANSWERS_FILE", ".zshrc")}
        with open(files["LINES_FILE"], "w", encoding="utf-8") as file:
            file.writelines(line + "\n" for line in lines)
        with open(files[".zshrc"], "w", encoding="utf-8") as file:
            file.write(ZSH)
        open(files["ANSWERS_FILE"], "w", encoding="utf-8").close()
        environment = {**os.environ, **environment, **files, "HOME": home, "ZDOTDIR": home, "TERM": "xterm",
                       "XDG_CONFIG_HOME": home, "LC_ALL": "C.UTF-8"}
        command = {"bash": ["bash", "--norc", "-c", BASH], "fish": ["fish", "--no-config", "-c", FISH],
                   "zsh": ["zsh", "--no-globalrcs", "-i"]}[shell]
        leader, follower = pty.openpty()
        with subprocess.Popen(command, cwd=folder, env=environment, stdin=follower, stdout=follower, stderr=follower,
                              start_new_session=True) as process:
            os.close(follower)
            printed = b""
            try:
                while piece := os.read(leader, 65536):
                    printed += piece
            except OSError:  # how a terminal tells that nobody is left at its other end
                pass
            os.close(leader)
        with open(files["ANSWERS_FILE"], encoding="utf-8") as file:
            answers = file.read().split("ENDS\n")[:-1]
        if len(answers) != len(lines):
            raise AssertionError(f"{shell} answered {len(answers)} of {len(lines)} lines: {printed.decode()}")
    return [{word.rstrip("=") for word in answer.split("\n") if word} for answer in answers]
