# What ./run, ./test and the other commands share about the machine that they run on. To be sourced,
# from the top folder; $me is the name to speak under.

say() { echo "$me: $*" >&2; }
die() { say "$@"; exit 1; }

# Runs a command with privileges, asking for them when they are not there.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "'$*' needs root and there is no sudo: run this as root"
  fi
}

# Installs those of the given Debian packages that are missing.
install_packages() {
  command -v apt-get >/dev/null || die "there is no apt-get here: install what corresponds to: $*"
  local missing=() package
  for package; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}
