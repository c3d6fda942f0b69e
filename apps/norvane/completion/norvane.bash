# SPDX-License-Identifier: Apache-2.0
# Completion of norvane for bash: verbs, options, values that are listed, files and folders.

# Values of option $2 of verb $1; empty where they are not a list.
_norvane_values() {
    case $1:$2 in
        masks:--side | phantom:--side) echo left right ;;
        masks:--view | phantom:--view) echo mlo cc ;;
        masks:--crop) echo auto none ;;
        masks:--noise)
            echo auto auto-coarse auto-fine auto-medium fixed-high fixed-mid given-level mg mg-raw mg-raw-2 mg-raw-3
            ;;
        masks:--results) echo crop json labels masks nifti nrrd overlay page seg seg-joined ;;
        masks:--format | info:--format) echo text json ;;
        masks:--decode | info:--decode) echo isolated in-process ;;
        phantom:--frame) echo collimation none ;;
        phantom:--look) echo film digital ;;
    esac
}

_norvane_options() {
    case $1 in
        masks)
            echo --side --view --pixel-size --frame --crop --noise --padding --invert --fast --contour --no-contour \
                --out-dir --results --jobs --image-memory --manifest --root --resume --shard --fail-list --null --decode \
                --dry-run --format --no-page
            ;;
        info) echo --frame --image-memory --decode --format ;;
        score) echo --masks --truth-values --pixel-size --csv ;;
        phantom)
            echo --labels --side --view --frame --look --seed --width --height --pixel-size --bits --noise
            ;;
        *) echo --version ;;
    esac
    echo --help
}

_norvane() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} verb='' i head=''
    # With "=" among COMP_WORDBREAKS an --option=value comes as three words.
    if [[ $word == '=' ]]; then
        word=''
    elif [[ $before == '=' ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            masks | info | score | phantom)
                verb=${COMP_WORDS[i]}
                break
                ;;
        esac
    done
    COMPREPLY=()
    local values
    values=$(_norvane_values "$verb" "$before")
    if [[ $verb:$before == masks:--results && $word == *,* ]]; then # a list with commas
        head=${word%,*},
        word=${word##*,}
    fi
    if [[ $values ]]; then
        mapfile -t COMPREPLY < <(compgen -P "$head" -W "$values" -- "$word")
        return
    fi
    case $verb:$before in
        masks:--out-dir | masks:--root | score:--masks)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return
            ;;
        *:--pixel-size | masks:--padding | masks:--jobs | masks:--shard | masks:--frame | info:--frame | \
            *:--image-memory | score:--truth-values | phantom:--seed | phantom:--width | phantom:--height | \
            phantom:--bits | phantom:--noise)
            return # numbers of the user's own
            ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_norvane_options "$verb")" -- "$word")
    elif [[ $verb ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -W 'masks info score phantom' -- "$word")
    fi
}

complete -F _norvane norvane
