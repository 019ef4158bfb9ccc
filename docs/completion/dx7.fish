# fish completion for dx7(1) and dx7-device(1). The program itself is asked what may be meant.

function __dx7_complete
    set -l words (commandline -opc)
    set -l program (string replace -r '^~(?=/)' "$HOME" -- $words[1])
    set -l typed (commandline -ct)
    set -l begun (string unescape -- $typed; or string trim -l -c '"\'' -- $typed)
    set -l answer (command $program __complete $words[2..-1] "$begun" 2>/dev/null)
    printf '%s\n' $answer[2..-1]
    if test "$answer[1]" = files
        set -l option (string match -r -- '^--[a-z0-9-]+=' $begun)
        for file in (__fish_complete_path (string replace -r -- '^--[a-z0-9-]+=' '' $begun))
            echo "$option$file"
        end
    end
end

complete -c dx7 -f -a '(__dx7_complete)'
complete -c dx7-device -f -a '(__dx7_complete)'
