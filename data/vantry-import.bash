# Completion of vantry-import for bash.

_vantry_import() {
  local cur prev words cword
  _init_completion -n = || return
  case $prev in
    --home | --root) _filedir -d; return ;;
  esac
  COMPREPLY=($(compgen -W "--all --dry-run --home --root --help --version" -- "$cur"))
}

complete -F _vantry_import vantry-import
