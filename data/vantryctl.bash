# Completion of vantryctl for bash. tests/system/packaging_test.py holds it against the program's help.

_vantryctl() {
  local cur prev words cword
  _init_completion -n = || return
  local commands="hello status pause continue stop list watch add-site corrections widen-tables reload report
    install-service remove-service history live-password sites set-site remove-site settings set exceptions set-exception alerts
    set-alert remove-alert"
  local options="--host --port --help" command="" i
  for ((i = 1; i < cword; i++)); do
    case ${words[i]} in
      --host | --port | --name | --domain | --type | --account | --root | \
        --site | --address | --from | --to | --limit | --format | --user) ((i++)) ;;
      -*) ;;
      *)
        command=${words[i]}
        break
        ;;
    esac
  done
  case $prev in
    --host) _known_hosts_real -- "$cur"; return ;;
    --account) COMPREPLY=($(compgen -u -- "$cur")); return ;;
    --root) _filedir -d; return ;;
    --format) COMPREPLY=($(compgen -W "text csv json" -- "$cur")); return ;;
    --type) COMPREPLY=($(compgen -W "0 1 2 3 4 5" -- "$cur")); return ;;
    --port | --name | --domain | --site | --address | --from | --to | --limit | --user) return ;;
  esac
  case $command in
    "") ;;
    watch) options+=" --once" ;;
    add-site) options="--name --domain --type --help" ;;
    corrections | widen-tables | sites | settings | exceptions | alerts) options="--help" ;;
    set-site) options+=" --yes" ;;
    install-service) options="--account --system-account --auto --root --help" ;;
    remove-service) options="--root --help" ;;
    live-password) options="--user --print --help" ;;
    history) options="--site --address --from --to --limit --format --help" ;;
  esac
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
  elif [[ -z $command ]]; then
    COMPREPLY=($(compgen -W "$commands" -- "$cur"))
  elif [[ $command == add-site ]]; then
    _filedir
  elif [[ $command == history ]]; then
    COMPREPLY=($(compgen -W "visits visit referrers downloads days" -- "$cur"))
    _filedir -d
  elif [[ $command =~ ^(corrections|widen-tables|install-service|live-password|sites|settings|exceptions|alerts)$ ||
    $command =~ ^(set|remove)(-site|-exception|-alert|)$ ]]; then
    _filedir -d
  fi
} && complete -F _vantryctl vantryctl
