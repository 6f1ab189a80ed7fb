# Which steps of ./test a system runs, and where what they need comes from. To be sourced by ./test, whose
# tables `steps`, `packages` and `not_on_macos` these read.

system=$(uname)

# Why this system does not run step $1; fails when it does.
reason_against() {
  local line
  [ "$system" = Darwin ] || return 1
  for line in "${not_on_macos[@]}"; do
    if [ "${line%%:*}" = "$1" ]; then
      echo "${line#*: }"
      return
    fi
  done
  return 1
}

# The names of the steps that a system runs; behind them, those that it leaves out, with the reason.
list_steps() {
  local line reason
  case $1 in
    --system=Linux | --system=Darwin) system=${1#--system=} ;;
    *) die "--system is Linux or Darwin, not '$1'" ;;
  esac
  for line in "${steps[@]}"; do
    reason_against "${line%%:*}" >/dev/null || echo "${line%%:*}"
  done
  for line in "${steps[@]}"; do
    if reason=$(reason_against "${line%%:*}"); then echo "left out ${line%%:*}: $reason"; fi
  done
}

install_needed() {
  if [ "$system" != Darwin ]; then
    install_packages "${packages[@]}"
    return
  fi
  local tool
  for tool in c++ cmake python3; do
    command -v "$tool" >/dev/null || die "$tool is missing: xcode-select --install, then brew install cmake python"
  done
}
