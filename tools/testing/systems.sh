# Which steps of ./test a system runs, and where what they need comes from. To be sourced by ./test, whose
# tables these read.

system=$(uname)

# Why this system does not run step $1; fails when it does.
reason_against() {
  local line
  if [ "$system" = Darwin ]; then set -- "$1" "${not_on_macos[@]}"; else set -- "$1" "${only_on_macos[@]}"; fi
  for line in "${@:2}"; do
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

# Homebrew's packages and Python's; what is there is not installed again.
install_on_macos() {
  local wanted=() formula
  command -v c++ >/dev/null || die "install the command line tools first: xcode-select --install"
  command -v brew >/dev/null || die "Homebrew is needed for ${macos_formulas[*]}: https://brew.sh"
  for formula in "${macos_formulas[@]}"; do
    brew list "$formula" >/dev/null 2>&1 || wanted+=("$formula")
  done
  [ ${#wanted[@]} -eq 0 ] || brew install --quiet "${wanted[@]}" || return
  [ -x build/python/bin/pytest ] ||
    { python3 -m venv build/python && build/python/bin/pip install --quiet pytest pytest-xdist dnspython; }
}

install_needed() {
  if [ "$system" = Darwin ]; then install_on_macos; else install_packages "${packages[@]}"; fi
}
