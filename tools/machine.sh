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

# Runs a command until it succeeds, for a minute: a system that was just started may hold the packages' locks
# for updates of its own.
patiently() {
  local try
  for try in {1..6}; do
    "$@" && return
    sleep 10
  done
  "$@"
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
  patiently as_root apt-get update -qq || say "going on with the lists of packages that are here"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    -o DPkg::Lock::Timeout=60 "${missing[@]}" >/dev/null
}
