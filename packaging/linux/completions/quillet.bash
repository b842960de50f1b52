# bash completion for quillet                                              -*- shell-script -*-

_quillet()
{
    local cur prev words cword split
    _init_completion -s || return

    local -A commands=(
        [quillet]="import watch recheck library info tag"
        [library]="list show remove"
        [tag]="show frames cover set copy convert drop"
    )
    local edit="--dry-run --keep-mtime --force --break-links --no-sync"
    local -A options=(
        [quillet]="--version"
        [import]="--move --no-naming"
        [watch]="--poll"
        [library remove]="--keep-file"
        [info]="--jobs"
        [tag show]="--jobs"
        [tag frames]="--jobs"
        [tag cover]="-o --output --force"
        [tag set]="$edit --title --artist --album --album-artist --year --track --disc --genre --comment --composer
                   --cover --frame"
        [tag copy]="$edit"
        [tag convert]="$edit --to"
        [tag drop]="$edit"
    )

    # The command so far, the operands behind it, and the root.
    local command="" operands=0 root=() word i
    for ((i = 1; i < cword; i++)); do
        word=${words[i]}
        case $word in
            --root=*) root=("$word") ;;
            --root) root=("$word" "${words[++i]}") ;;
            -*) ;;
            *)
                if [[ " ${commands[${command:-quillet}]-} " == *" $word "* ]]; then
                    command+="${command:+ }$word"
                else
                    ((operands++))
                fi
                ;;
        esac
    done

    case $prev in
        --root) _filedir -d; return ;;
        --output | -o) _filedir; return ;;
        --cover) COMPREPLY=($(compgen -W none -- "$cur")); _filedir '@(jpg|jpeg|png|gif|bmp|webp|tif|tiff)'; return ;;
        --to) COMPREPLY=($(compgen -W "2.2 2.3 2.4" -- "$cur")); return ;;
        --title | --artist | --album | --album-artist | --year | --track | --disc | --genre | --comment | --composer | \
            --frame | --jobs) return ;;
    esac
    $split && return

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "${options[${command:-quillet}]-} --root --json --help -h" -- "$cur"))
        return
    fi
    case $command in
        "" | library | tag) COMPREPLY=($(compgen -W "${commands[${command:-quillet}]}" -- "$cur")) ;;
        import) _filedir ;;
        "library show" | "library remove")
            COMPREPLY=($(compgen -W "$("${words[0]}" "${root[@]}" library list 2>/dev/null | cut -f1)" -- "$cur")) ;;
        "tag copy" | "tag drop")
            if ((operands > 0)); then
                _filedir mp3
            elif [[ $command == "tag copy" ]]; then
                COMPREPLY=($(compgen -W "v1-to-v2 v2-to-v1" -- "$cur"))
            else
                COMPREPLY=($(compgen -W "v1 v2" -- "$cur"))
            fi
            ;;
        info | tag\ *) _filedir mp3 ;;
    esac
} &&
    complete -F _quillet quillet
