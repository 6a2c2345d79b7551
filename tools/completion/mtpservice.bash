# SPDX-License-Identifier: MIT
# Completion of mtpservice for bash.

_mtpservice() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local global="--device --virtual --profiles --json --debug --help" command="" word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            devices | doctor | storages | df | ls | tree | find | list | info | cat | mkdir | mv | backup | restore | put | get | play | rm | sync | copy | playlist | podcast | virtual)
                [[ $command ]] || command=$word
                ;;
        esac
    done

    local words=""
    case $previous in
        --type)
            words="auto music image video"
            [[ $command == list ]] && words="music image video podcast playlist"
            ;;
        --overwrite) words="ask always never" ;;
        --debug) words="0 1 3 5 6 7" ;;
        --virtual | --profiles | --functionfs | --output | -o)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
            ;;
        --device | --to)
            # Location IDs: names may hold blanks.
            words=$(mtpservice devices --json 2>/dev/null | sed -n 's/.*"locationId":"\([0-9A-F]*\)".*/\1/p')
            ;;
        *)
            case $command in
                "") words="devices doctor storages df ls tree find list info cat mkdir mv backup restore put get play rm sync copy playlist podcast virtual $global" ;;
                devices) words="--verbose --watch --events $global" ;;
                doctor) words=$global ;;
                storages) words="--verbose $global" ;;
                ls) words="--long --recursive $global" ;;
                tree) words="--folders --depth $global" ;;
                find) words="--type --name $global" ;;
                list) words="--type --csv $global" ;;
                mkdir) words="--parents $global" ;;
                df | info | cat | mv) words=$global ;;
                backup | restore)
                    mapfile -t COMPREPLY < <(compgen -d -W "$global" -- "$current")
                    return
                    ;;
                put) words="--type --storage --overwrite --playlist --no-metadata $global" ;;
                get) words="--output --recursive --overwrite $global" ;;
                play) words=$global ;;
                rm) words="--recursive --yes $global" ;;
                sync) words="--type --dry-run --card-first --no-metadata $global" ;;
                copy) words="--to --type --storage --overwrite --recursive $global" ;;
                playlist)
                    words="list show create add remove rename delete export sync --overwrite $global"
                    ;;
                podcast)
                    words="put list show sync remove --episodes --media --storage --overwrite --card-first --yes
                        --no-metadata $global"
                    ;;
                virtual) words="create serve --name --model --storage --hidden --functionfs $global" ;;
            esac
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

# Files are completed as usual where none of the words fits.
complete -o default -o filenames -F _mtpservice mtpservice
