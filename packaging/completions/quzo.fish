# Completion of quzo for fish.
#
# `quzo complete` answers with words that fish quotes. Nothing of them is ever evaluated: names of objects and rules can
# be anything.

function __quzo_complete
    set -l words (commandline -opc)
    set -e words[1]
    # Without its quotes, of which the last one may be open.
    set -l raw (commandline -ct)
    set -l word (string unescape -- $raw; or string unescape -- $raw\"; or string unescape -- $raw\'; or echo -- $raw)
    for answer in (command quzo complete -- $words "$word" 2>/dev/null)
        switch $answer
            case \tfiles \tfolders
                set -l before (string match -r -- '^--[^=]*=' $word)
                set -l path (string replace -r -- '^--[^=]*=' '' $word)
                if test $answer = \tfiles
                    string replace -r -- '^' "$before" (__fish_complete_path $path)
                else
                    string replace -r -- '^' "$before" (__fish_complete_directories $path)
                end
            case '*'
                printf '%s\n' $answer
        end
    end
end

complete -c quzo -f -k -a '(__quzo_complete)'
