# Completion of dns_proxy_ctl's command line in bash, version 3.2 and later. An empty reply leaves
# the word to the completion of file names.

_dns_proxy_ctl() {
  local current=${COMP_WORDS[COMP_CWORD]}
  local previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command="" word words=""
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      check | probe | trace | watch | status)
        command=$word
        break
        ;;
    esac
  done
  COMPREPLY=()
  case $previous in
    --dns | --hostmap) return ;;
    --timeout) words="100 1000 5000" ;;
    *)
      case $command in
        "") words="check probe trace watch status --help --version" ;;
        check) words="--dns --hostmap --strict --json --help" ;;
        probe) words="--timeout --upstreams --help" ;;
        trace) [[ $current == -* ]] && words="--follow --json --help" ;;
        watch | status) words="--help" ;;
      esac
      ;;
  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}

complete -o default -F _dns_proxy_ctl dns_proxy_ctl
