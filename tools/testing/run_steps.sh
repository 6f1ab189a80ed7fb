# How ./test runs its steps: each with folders of its own for HOME and temporary files, ended as a whole
# when the run is. To be sourced after tools/machine.sh.

readonly logs=build/test-logs
state=     # this run's own folder, outside of the checkout
step=      # the process of the step that is running
step_name=

on_linux() { [ "$(uname)" = Linux ]; }

# The namespaces that a step gets, as far as the system permits them.
namespaces() {
  local flags
  for flags in "--mount --pid --fork --kill-child --mount-proc" "--mount"; do
    # shellcheck disable=SC2086  # several words
    if as_root unshare $flags true 2>/dev/null; then
      echo "unshare $flags"
      return
    fi
  done
}

# The folders that no step may change anything in.
guarded_folders() {
  local folder
  for folder in "$HOME" "$(getent passwd 0 | cut -d: -f6)" /var/log; do
    case $folder in
      "" | / | *[,:\\]*) ;;
      *) [ ! -d "$folder" ] || (cd -P "$folder" && pwd) ;;
    esac
  done | sort -u
}

begin_run() {
  need_writable build
  need_writable "$logs"
  as_root true || die "root or sudo is needed: the programs run on port 53, in namespaces of the tests' own"
  trap 'end_run "ended by Ctrl-C" 130' INT
  trap 'end_run "ended by a signal" 143' TERM HUP
  trap clean_up EXIT
  state=$(cd -P "$(mktemp -d "${TMPDIR:-/tmp}/dns_proxy_mac.XXXXXX")" && pwd) || exit 1
  mkdir -p "$state/home" "$state/tmp"
  chmod 755 "$state" "$state/home"
  chmod 1777 "$state/tmp"
  runner=()
  if on_linux; then
    # shellcheck disable=SC2207  # several words
    runner=($(namespaces))
    [ ${#runner[@]} -ne 0 ] || die "the system permits no mount namespace of the tests' own; run this as root of the machine"
    runner+=(tools/testing/contained "$state" "$(guarded_folders)")
  fi
}


# Starts a command in a process group of its own, so that Ctrl-C is this shell's alone.
start_step() {
  local log=$1 launcher
  shift
  launcher=$(command -v ccache)
  set -m
  as_root env -u CDPATH HOME="$state/home" XDG_CACHE_HOME="$state/home/.cache" TMPDIR="$state/tmp" \
    CCACHE_DIR="$PWD/build/ccache" CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1 \
    CCACHE_SLOPPINESS=pch_defines,time_macros PYTHONDONTWRITEBYTECODE=1 PATH="$PATH" CMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    ${runner[@]:+"${runner[@]}"} \
    bash -c '. tools/testing/commands.sh && "$@"' step "$@" >"$log" 2>&1 </dev/null &
  step=$!
  set +m
}

run_step() {
  local name=${1%%:*} command=${1#*: } start=$SECONDS seed
  local log=$logs/$name.log
  step_name=$name
  as_root true || return 1  # asks again while there is a terminal to be asked at
  if [ -t 1 ]; then printf 'running %s' "$name"; else echo "running $name"; fi
  # shellcheck disable=SC2086  # a command with its arguments
  start_step "$log" $command
  wait "$step"
  local status=$?
  step=
  give_back
  [ ! -t 1 ] || printf '\r'
  if [ "$status" -eq 0 ]; then
    # The seed is the only part of a run that is not in the repo.
    seed=$(grep -o 'fresh seed: [0-9]*' "$log")
    printf 'ok      %-14s %4d s%s\n' "$name" $((SECONDS - start)) "${seed:+  $seed}"
    return 0
  fi
  printf 'FAILED  %-14s %4d s, the end of %s:\n' "$name" $((SECONDS - start)) "$log"
  tail -n 40 "$log"
  return 1
}

# Process $1 and all that descend from it.
family() {
  ps -A -o pid= -o ppid= | awk -v root="$1" '
    { parent[$1] = $2 }
    END {
      for (pid in parent) {
        for (at = pid; at != root && at > 1 && at in parent; at = parent[at]) {}
        if (at == root) print pid
      }
    }'
}

is_alive() { ps -o stat= -p "$1" 2>/dev/null | grep -qv '^Z'; }

end_step() {
  [ -n "$step" ] || return 0
  local pids pid
  pids=$(family "$step")
  # shellcheck disable=SC2086  # several numbers
  [ -z "$pids" ] || as_root kill -KILL $pids 2>/dev/null
  wait "$step" 2>/dev/null
  for pid in $pids; do
    while is_alive "$pid"; do sleep 0.02; done
  done
  step=
}

end_run() {
  trap '' INT TERM HUP
  end_step
  [ ! -t 1 ] || printf '\r'
  say "$1${step_name:+ while $step_name was running}"
  exit "$2"
}

# What a step has made as root belongs to whoever owns the checkout.
give_back() {
  [ "$(owner_of -n .)" -eq 0 ] || as_root find build -user root -exec chown -h "$(owner_of -n .)" {} +
}

# Groups of processes that a step was ended in; their names begin with that of the run's folder.
remove_control_groups() {
  ! on_linux || as_root find /sys/fs/cgroup -depth -type d -path "*/$(basename "$state").*" -exec rmdir {} \; 2>/dev/null
}

clean_up() {
  give_back
  [ -z "$state" ] || {
    remove_control_groups
    as_root rm -rf "$state"
  }
}
