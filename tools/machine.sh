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
  local folder=$1
  if [ -d "$folder" ]; then
    [ -w "$folder" ] || die "$folder/ belongs to $(owner_of "$folder"), and you cannot write there:" \
      "remove it or give it to yourself, for example: sudo chown -R $(id -un) $folder"
  else
    mkdir -p "$folder" 2>/dev/null || die "$folder/ cannot be made here: this checkout is read-only, or not yours"
  fi
  # A file system that is read-only lets root pass the test above.
  (: >"$folder/.writable") 2>/dev/null || die "$folder/ cannot be written to: it is on a read-only file system"
  rm -f "$folder/.writable"
}

# A build folder remembers where its sources were; after they were moved it is configured anew.
forget_moved_sources() {
  local cache=$1/CMakeCache.txt home
  [ -e "$cache" ] || return 0
  home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$cache")
  [ "$home" -ef . ] || rm -rf "$cache" "$1/CMakeFiles"
}
