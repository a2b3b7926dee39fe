# shellcheck shell=bash
# Completes command lines of tyksim from its help: verbs, a verb's options, the words that an option
# takes, and files for everything else.

# Prints the text after option $1 in the help $2, which is the kind of its value; nothing for a flag.
_tyksim_value_of() {
    sed -nE "s/^  (-[a-zA-Z], )?$1 ([^ ].*)/\2/p" <<<"$2"
}

_tyksim() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local help value
    COMPREPLY=()
    if ((COMP_CWORD == 1)) || [[ ${COMP_WORDS[1]} == help ]]; then
        help=$("$1" --help 2>/dev/null)
        local verbs
        verbs=$(sed -nE '/^Verbs:/,/^$/s/^  ([a-z][a-z-]*) .*/\1/p' <<<"$help")
        [[ $word == -* ]] || { mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word"); return; }
    else
        help=$("$1" "${COMP_WORDS[1]}" --help 2>/dev/null)
    fi

    # "--option=word" comes as three words.
    [[ $word == = ]] && word= && before="$before="
    [[ $before == = ]] && before=${COMP_WORDS[COMP_CWORD - 2]}
    before=${before%=}
    if [[ $before == -* ]]; then
        value=$(_tyksim_value_of "$before" "$help")
        local kind=${value%% *}
        case $kind in
            *[a-z0-9]"|"[a-z0-9]*) ;;  # one|other
            '' | FILE* | DIR | OUT | *.so | NAME=VALUE* | OTHER) kind= ;;
            *) return ;;
        esac
        if [[ $kind ]]; then
            mapfile -t COMPREPLY < <(compgen -W "${kind//|/ }" -- "$word")
            return
        fi
    fi
    if [[ $word == -* && -z $value ]]; then
        local options
        options=$(grep -oE '^  (-[a-zA-Z], )?--[a-z][a-z0-9-]*' <<<"$help" | grep -oE -- '--.*')
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        return
    fi
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
}

complete -F _tyksim tyksim
