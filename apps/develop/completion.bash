# Completion of kestrova-develop for bash.
_kestrova_develop() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} words=
    case $previous in
        --metadata) words='all copyright none' ;;
        --format) words='jpg png tif webp' ;;
        --bits) words='8 16' ;;
        --rotate) words='0 90 180 270' ;;
        --filter) words='guided bilateral laplacian wls' ;;
        --preset) words='natural landscape portrait backlight night black-and-white' ;;
        --profile)
            mapfile -t COMPREPLY < <(compgen -W 'own srgb p3 adobe' -- "$word"; compgen -f -X '!*.ic[cm]' -- "$word")
            return ;;
        -d|--directory|--base)
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return ;;
    esac
    # Options begin the lines of the help.
    [[ -z $words && $word == -* ]] &&
        words=$(kestrova-develop --help | grep -oE '^ +(-[a-z],)?--[a-z][a-z-]*' | tr ',' '\n')
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _kestrova_develop kestrova-develop
