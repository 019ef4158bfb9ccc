# bash completion for dx7(1) and dx7-device(1)                            -*- shell-script -*-
# shellcheck shell=bash
#
# The program itself is asked what may be meant. What it names is a whole word; bash ends words at ":", "=" and "@" as
# well, so what stands before the last of these is taken off.

# _dx7_split LINE: the words of the line without their quotes into `words`, the last one as it is typed into `typed`,
# and the quote that it has open, if any, into `quote`.
_dx7_split() {
    local line=$1 word='' begun='' character i
    words=() typed='' quote=''
    for ((i = 0; i < ${#line}; ++i)); do
        character=${line:i:1}
        if [[ -z $quote && $character == [[:space:]] ]]; then
            [[ -n $begun ]] && words+=("$word")
            word='' begun='' typed=''
            continue
        fi
        begun=yes
        typed+=$character
        if [[ $character == "\\" && $quote != "'" ]]; then
            ((++i))
            typed+=${line:i:1}
            word+=${line:i:1}
        elif [[ -z $quote && $character == [\'\"] ]]; then
            quote=$character
        elif [[ -n $quote && $character == "$quote" ]]; then
            quote=''
        else
            word+=$character
        fi
    done
    words+=("$word")
}

_dx7() {
    local -a words answer
    local typed quote line text before
    _dx7_split "${COMP_LINE:0:COMP_POINT}"
    mapfile -t answer < <("${words[0]/#\~/$HOME}" __complete "${words[@]:1}" 2>/dev/null)
    # What bash itself puts its answer in place of.
    local replaced=${COMP_WORDS[COMP_CWORD]}
    [[ -z $quote && $replaced == [:=@] ]] && replaced=''
    before=${typed%"$replaced"}
    COMPREPLY=()
    for line in "${answer[@]:1}"; do
        text=${line%%$'\t'*}
        if [[ -z $quote ]]; then
            printf -v text %q "$text"
        elif [[ $quote == '"' ]]; then
            text=${text//[\\]/\\\\}
            text=${text//\"/\\\"}
            text=${text//\$/\\\$}
            text=${text//\`/\\\`}
        fi
        [[ $text == "$before"* ]] && COMPREPLY+=("${text#"$before"}")
    done
    if ((${#COMPREPLY[@]} == 1)) && [[ ${COMPREPLY[0]} == *[:=/] ]]; then
        compopt -o nospace 2>/dev/null
    fi
    if [[ ${answer[0]} == files ]]; then
        compopt -o filenames 2>/dev/null
        local -a files
        mapfile -t files < <(compgen -f -- "${words[-1]#--*=}")
        COMPREPLY+=("${files[@]}")
    fi
}

complete -F _dx7 dx7 dx7-device
