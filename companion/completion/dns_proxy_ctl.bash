# Completion of dns_proxy_ctl's command line in bash, version 3.2 and later. An empty reply leaves
# the word to the completion of file names.

_dns_proxy_ctl() {
  local current=${COMP_WORDS[COMP_CWORD]}
  local previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command="" part="" word words=""
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      check | probe | trace | watch | guard | on | off | upstream | status | name | list)
        if [ -z "$command" ]; then command=$word; else part=$word; fi
        ;;
      add | remove | explain | apply | import | show) part=$word ;;
    esac
  done
  COMPREPLY=()
  case $previous in
    --dns | --hostmap) return ;;
    --timeout) words="100 1000 5000" ;;
    --as) words="0.0.0.0 127.0.0.1" ;;
    *)
      case $command in
        "") words="check probe trace watch guard on off upstream status name list --help --version" ;;
        check) words="--dns --hostmap --strict --start --json --help" ;;
        probe) words="--timeout --upstreams --help" ;;
        trace) [[ $current == -* ]] && words="--follow --json --help" ;;
        guard) words="--remove --help" ;;
        upstream) words="--json --help" ;;
        on) words="--keep --help" ;;
        watch | off) words="--help" ;;
        status) words="--json --help" ;;
        name | list) words=$(_dns_proxy_ctl_names "$command $part" "$current") ;;
      esac
      ;;
  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}

# What goes on behind `name` and `list`: their own commands, then the names and lists that there are.
_dns_proxy_ctl_names() {
  case $1 in
    "name ") echo "add remove list explain apply import --help" ;;
    "name remove" | "name explain")
      dns_proxy_ctl name list "$2" 2>/dev/null | head -n 500 | cut -d " " -f 1
      ;;
    "list ") echo "add remove show --help" ;;
    "list add") [[ $2 == -* ]] && echo "--as --help" ;;
    "list remove") ls /var/log/Varnok/names.d 2>/dev/null ;;
    *) echo "--help" ;;
  esac
}

complete -o default -F _dns_proxy_ctl dns_proxy_ctl
