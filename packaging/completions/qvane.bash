# bash completion for qvane                                      -*- shell-script -*-
# A new command needs a line in each table below (and in _qvane and qvane.fish).

_qvane() {
    local cur prev words cword
    _init_completion || return

    local commands="info dump convert new ls generate import export show add edit rm clip passwd categories report merge"
    local password="--password-stdin"
    local -A options=(
        [info]=""
        [dump]="$password"
        [convert]="$password --new-password-stdin"
        [new]="$password"
        [ls]="$password --category --search --sort --descending --columns --show-secrets --json --table --tsv"
        [generate]="--type --length --count --json"
        [import]="$password --format --encoding --map --skip-first --from"
        [export]="$password --format -o --fields --header --category --search --preset --tags"
        [show]="$password --index --show-secrets --json"
        [add]="$password --category --account --user --url --email --note --pin --security --password-prompt --generate --type --length --print --convert"
        [edit]="$password --index --rename --category --account --user --url --email --note --pin --security --password-prompt --generate --type --length --print --convert"
        [rm]="$password --index --yes --convert"
        [clip]="$password --index --field --seconds --convert"
        [passwd]="$password --convert"
        [categories]="$password --json --add --color --rename --remove --convert"
        [report]="$password --json --older-than"
        [merge]="$password -o --dry-run --json"
    )
    local columns="category name account userID password pin security url email createdDate modificationDate usageCount"

    # The command is the first word that is not an option.
    local command="" i
    for ((i = 1; i < cword; i++)); do
        if [[ ${words[i]} != -* ]]; then
            command=${words[i]}
            break
        fi
    done

    if [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur"))
        return
    fi

    case $prev in
        --sort)
            COMPREPLY=($(compgen -W "$columns" -- "$cur"))
            return ;;
        --columns)
            # A comma-separated list: complete the last item.
            local done_part=""
            [[ $cur == *,* ]] && done_part=${cur%,*},
            COMPREPLY=($(compgen -P "$done_part" -W "$columns" -- "${cur##*,}"))
            compopt -o nospace
            return ;;
        --type)
            COMPREPLY=($(compgen -W "10 11 20 21 22 30 40 41 42 52 60 61 letters lower alphanumeric lower-digits upper-digits digits all lower-symbols upper-symbols hex readable readable-upper" -- "$cur"))
            return ;;
        --format)
            if [[ $command == import ]]; then
                COMPREPLY=($(compgen -W "0 1 2 3" -- "$cur"))
            else
                COMPREPLY=($(compgen -W "0 1 2 3 4 5 custom tsv quoted-csv table html plain-csv keepass-csv bitwarden-json csv" -- "$cur"))
            fi
            return ;;
        --from)
            COMPREPLY=($(compgen -W "auto keepass-xml keepass-csv kdbx bitwarden-json bitwarden-csv chrome-csv firefox-csv csv" -- "$cur"))
            return ;;
        --encoding)
            COMPREPLY=($(compgen -W "0 1 10 11 12 20 21 22 30 50" -- "$cur"))
            return ;;
        --map)
            COMPREPLY=($(compgen -W "cascade header" -- "$cur"))
            return ;;
        --field)
            COMPREPLY=($(compgen -W "password userID account pin security url email note" -- "$cur"))
            return ;;
        --preset)
            COMPREPLY=($(compgen -W "1 2 3 4 5 tsv quoted-csv table html plain-csv" -- "$cur"))
            return ;;
        -o)
            _filedir
            return ;;
        --category | --search | --length | --count | --fields | --tags | --older-than | --index | --seconds | \
            --account | --user | --url | --email | --note | --pin | --security | --rename | --add | --remove | --color)
            return ;;
    esac

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "${options[$command]}" -- "$cur"))
    elif [[ $command == import && $prev != "$command" ]]; then
        _filedir  # the text file to import
    elif [[ $command != generate ]]; then
        _filedir qvane
    fi
} &&
    complete -F _qvane qvane
