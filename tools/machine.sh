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
  apt_install "${missing[@]}"
}

# The same for packages that are missing for sure and can be done without: no waiting for locks or networks.
install_at_once() {
  apt_install "$@" 2>/dev/null || { as_root apt-get update -qq && apt_install "$@"; }
}

apt_install() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    -o DPkg::Lock::Timeout=60 -o Acquire::http::Timeout=20 "$@" >/dev/null
}

processors() { getconf _NPROCESSORS_ONLN; }

# The user who owns a file; its number with the option -n.
owner_of() {
  if [ "$(uname)" = Darwin ]; then
    if [ "$1" = -n ]; then stat -f %u "$2"; else stat -f %Su "$1"; fi
  else
    if [ "$1" = -n ]; then stat -c %u "$2"; else stat -c %U "$1"; fi
  fi
}

# Ends with one sentence when folder $1, or where it would be made, cannot be written to.
need_writable() {
  if [ ! -d "$1" ]; then
    mkdir -p "$1" 2>/dev/null || die "$1/ cannot be made here: the checkout is read-only, or belongs to another user"
  elif [ ! -w "$1" ]; then
    [ "$(owner_of -n "$1")" -ne "$(id -u)" ] || die "$1/ cannot be written to: it is read-only"
    die "$1/ belongs to $(owner_of "$1"), and you cannot write there: remove it or make it yours, for example:" \
      "sudo chown -R $(id -un 2>/dev/null || true) $1"
  fi
}

# A build folder remembers where its sources were; after they were moved it is configured again.
forget_moved_sources() {
  local cache=$1/CMakeCache.txt home
  [ -e "$cache" ] || return 0
  home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$cache")
  [ "$home" -ef . ] || rm -rf "$cache" "$1/CMakeFiles"
}
