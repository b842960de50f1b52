# fish completion for quillet

# The words of the command line that are neither options nor the root.
function __quillet_words
    set -l words (commandline -opc)
    set -e words[1]
    while set -q words[1]
        switch $words[1]
            case --root
                set -e words[1]
            case '-*'
            case '*'
                echo -- $words[1]
        end
        set -e words[1]
    end
end

# Whether they begin with these.
function __quillet_in
    set -l words (__quillet_words)
    set -l count (count $argv)
    test "$words[1..$count]" = "$argv"
end

# Whether they are these, and no more.
function __quillet_at
    set -l words (__quillet_words)
    test "$words" = "$argv"
end

function __quillet_root
    set -l words (commandline -opc)
    for i in (seq (count $words))
        switch $words[$i]
            case --root
                echo -- --root=$words[(math $i + 1)]
            case '--root=*'
                echo -- $words[$i]
        end
    end
end

function __quillet_tracks
    quillet (__quillet_root) library list 2>/dev/null | string replace -r '^(\d+)\t([^\t]*)\t([^\t]*).*' '$1\t$3 - $2'
end

complete -c quillet -f
complete -c quillet -s h -l help -d 'Tell about the command and its options'
complete -c quillet -l root -x -a '(__fish_complete_directories)' -d 'The folder that the library lies under'
complete -c quillet -l json -d 'Results as JSON Lines'

complete -c quillet -n __quillet_at -l version -d 'Tell the version'
complete -c quillet -n __quillet_at -a import -d 'Put audio files into the library'
complete -c quillet -n __quillet_at -a watch -d 'Import whatever is dropped'
complete -c quillet -n __quillet_at -a recheck -d 'Add again what vanished'
complete -c quillet -n __quillet_at -a library -d 'What the library holds'
complete -c quillet -n __quillet_at -a info -d 'The audio facts'
complete -c quillet -n __quillet_at -a tag -d 'What the tags of files say'

complete -c quillet -n '__quillet_in import' -F
complete -c quillet -n '__quillet_in import' -l move -d 'Move the files instead of copying them'
complete -c quillet -n '__quillet_in import' -l no-naming -d 'Leave the tags of the copies as they are'
complete -c quillet -n '__quillet_in watch' -l poll -d 'Look at the folder once a second'

complete -c quillet -n '__quillet_at library' -a list -d 'All tracks'
complete -c quillet -n '__quillet_at library' -a show -d 'All that is known of some tracks'
complete -c quillet -n '__quillet_at library' -a remove -d 'Take tracks out, with their files'
complete -c quillet -n '__quillet_in library remove' -l keep-file -d 'Take out the track alone'
complete -c quillet -n '__quillet_in library show' -a '(__quillet_tracks)'
complete -c quillet -n '__quillet_in library remove' -a '(__quillet_tracks)'

complete -c quillet -n '__quillet_at tag' -a show -d 'All that is known by meaning'
complete -c quillet -n '__quillet_at tag' -a frames -d 'Every frame of the ID3v2 tag'
complete -c quillet -n '__quillet_at tag' -a cover -d 'Write the first picture to a file'
complete -c quillet -n '__quillet_at tag' -a set -d 'Change what the tags say'
complete -c quillet -n '__quillet_at tag' -a copy -d 'Copy one tag into the other'
complete -c quillet -n '__quillet_at tag' -a convert -d 'Make the tag one of another version'
complete -c quillet -n '__quillet_at tag' -a drop -d 'Take a tag out of its file'

for command in info 'tag show' 'tag frames' 'tag cover' 'tag set' 'tag convert'
    complete -c quillet -n "__quillet_in $command" -a '(__fish_complete_suffix .mp3)'
end
for way in v1-to-v2 v2-to-v1
    complete -c quillet -n '__quillet_at tag copy' -a $way
    complete -c quillet -n "__quillet_in tag copy $way" -a '(__fish_complete_suffix .mp3)'
end
for tag in v1 v2
    complete -c quillet -n '__quillet_at tag drop' -a $tag
    complete -c quillet -n "__quillet_in tag drop $tag" -a '(__fish_complete_suffix .mp3)'
end

for command in info 'tag show' 'tag frames'
    complete -c quillet -n "__quillet_in $command" -x -l jobs -d 'How many files are read at a time'
end
complete -c quillet -n '__quillet_in tag cover' -r -F -s o -l output -d 'Where the picture goes'
complete -c quillet -n '__quillet_in tag cover' -l force -d 'Write over what is there'

for command in set copy convert drop
    set -l here "__quillet_in tag $command"
    complete -c quillet -n $here -l dry-run -d 'Tell what would change, and write nothing'
    complete -c quillet -n $here -l keep-mtime -d 'Leave the time of the last change'
    complete -c quillet -n $here -l force -d 'Also tags that were not read faithfully'
    complete -c quillet -n $here -l break-links -d 'Also files with several names'
    complete -c quillet -n $here -l no-sync -d 'Do not wait until it is on the disk'
end
complete -c quillet -n '__quillet_in tag convert' -x -l to -a '2.2 2.3 2.4' -d 'The version'

set -l here '__quillet_in tag set'
complete -c quillet -n $here -x -l title -d 'The title'
complete -c quillet -n $here -x -l artist -d 'Who performs'
complete -c quillet -n $here -x -l album -d 'The album'
complete -c quillet -n $here -x -l album-artist -d 'Whom the album is by'
complete -c quillet -n $here -x -l year -d 'The year'
complete -c quillet -n $here -x -l track -d 'The track, and how many there are'
complete -c quillet -n $here -x -l disc -d 'The disc, and how many there are'
complete -c quillet -n $here -x -l genre -d 'A genre; several times'
complete -c quillet -n $here -x -l comment -d 'The comment'
complete -c quillet -n $here -x -l composer -d 'Who wrote it'
complete -c quillet -n $here -r -F -l cover -a none -d 'An image, or none'
complete -c quillet -n $here -x -l frame -d 'ID=TEXT, any frame'
