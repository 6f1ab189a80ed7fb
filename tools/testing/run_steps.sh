# How ./test runs its steps, some of them side by side: each with folders of its own for HOME and temporary
# files, ended as a whole when the run is. To be sourced after tools/machine.sh.

readonly logs=build/test-logs
state=  # this run's own folder, outside of the checkout
# The steps that are running: their processes, and at the same places their lines in the table and when they began.
pids=() lines=() begins=()
passed=0 failed=0
shown=

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
      *) ! as_root test -d "$folder" || as_root readlink -f "$folder" ;;  # which root alone may pass, perhaps
    esac
  done | sort -u
}

begin_run() {
  need_writable build
  need_writable "$logs"
  trap 'end_run "ended by Ctrl-C" 130' INT
  trap 'end_run "ended by a signal" 143' TERM HUP
  as_root true || die "root or sudo is needed: the programs run on port 53, in namespaces of the tests' own"
  trap clean_up EXIT
  state=$(mktemp -d "${TMPDIR:-/tmp}/dns_proxy_mac.XXXXXX") && state=$(cd -P "$state" && pwd) ||
    die "there can be no folder for temporary files in ${TMPDIR:-/tmp}"
  chmod 755 "$state"
  runner=()
  if on_linux; then
    # shellcheck disable=SC2207  # several words
    runner=($(namespaces))
    [ ${#runner[@]} -ne 0 ] || die "the system permits no mount namespace of the tests' own; run this as root of the machine"
    runner+=(tools/testing/contained "$state" "$(guarded_folders)")
  fi
}


running_names() { printf '%s, ' ${lines[@]:+"${lines[@]%%:*}"} | sed 's/, $//'; }

# The steps that are running, in one line at a terminal; taken back by hide_running.
show_running() {
  [ -t 1 ] && [ ${#lines[@]} -ne 0 ] || return 0
  shown="running $(running_names)"
  printf '%s' "$shown"
}

hide_running() {
  [ ! -t 1 ] || [ -z "$shown" ] || printf '\r%*s\r' ${#shown} ''
  shown=
}

# Starts a step in a process group of its own, so that Ctrl-C is this shell's alone.
start_step() {
  local name=${1%%:*} command=${1#*: } launcher
  local home=$state/home-$name temporary=$state/tmp-$name
  as_root true || return 1  # asks again while there is a terminal to be asked at
  launcher=$(command -v ccache)
  mkdir -p "$home" "$temporary"
  chmod 1777 "$temporary"
  hide_running
  [ -t 1 ] || echo "running $name"
  set -m
  # shellcheck disable=SC2086  # a command with its arguments
  as_root env -u CDPATH HOME="$home" XDG_CACHE_HOME="$home/.cache" TMPDIR="$temporary" RUN_FOLDER="$state" \
    LANES="$lanes" CCACHE_DIR="$PWD/build/ccache" CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1 \
    CCACHE_SLOPPINESS=pch_defines,time_macros PYTHONDONTWRITEBYTECODE=1 PATH="$PATH" CMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    DNS_PROXY_DEADLINE="${DNS_PROXY_DEADLINE:-30}" ${runner[@]:+"${runner[@]}"} \
    bash -c '. tools/testing/commands.sh && "$@"' step $command >"$logs/$name.log" 2>&1 </dev/null &
  pids+=($!) lines+=("$1") begins+=("$SECONDS")
  set +m
  show_running
}

# Says how the step at place $1 among those that are running has ended, and forgets it.
end_of_step() {
  local name=${lines[$1]%%:*} seconds=$((SECONDS - begins[$1])) log seed status
  log=$logs/$name.log
  wait "${pids[$1]}"
  status=$?
  unset "pids[$1]" "lines[$1]" "begins[$1]"
  pids=(${pids[@]:+"${pids[@]}"}) lines=(${lines[@]:+"${lines[@]}"}) begins=(${begins[@]:+"${begins[@]}"})
  give_back
  as_root rm -rf "$state/home-$name" "$state/tmp-$name"
  hide_running
  if [ "$status" -eq 0 ]; then
    passed=$((passed + 1))
    # The seed is the only part of a run that is not in the repo.
    seed=$(grep -o 'fresh seed: [0-9]*' "$log")
    printf 'ok      %-14s %4d s%s\n' "$name" "$seconds" "${seed:+  $seed}"
  else
    failed=$((failed + 1))
    printf 'FAILED  %-14s %4d s, the end of %s:\n' "$name" "$seconds" "$log"
    tail -n 40 "$log"
  fi
  show_running
}

# Waits until one of the running steps has ended.
wait_for_a_step() {
  local alive place
  while :; do
    alive=$(jobs -rp)
    for place in "${!pids[@]}"; do
      case $'\n'$alive$'\n' in
        *$'\n'"${pids[$place]}"$'\n'*) ;;
        *)
          end_of_step "$place"
          return
          ;;
      esac
    done
    sleep 0.1
  done
}

# The preset whose build a step's line tests, or makes: `with PRESET` or `build PRESET`, given as $2.
preset_of() {
  local command=${1#*: }
  case $command in "$2 "*) command=${command#* } && echo "${command%% *}" ;; esac
}

# Is step $1 to wait for a step that builds what it tests: one that is running, or one of the rest?
waits() {
  local preset line
  preset=$(preset_of "$1" with)
  [ -n "$preset" ] || return 1
  for line in ${lines[@]:+"${lines[@]}"} "${@:2}"; do
    [ "$(preset_of "$line" build)" != "$preset" ] || return 0
  done
  return 1
}

# run_steps LANES LINE...: as many steps at once as there are lanes, in their order, but each after the step
# that builds what it tests.
run_steps() {
  local lanes=$1 todo=("${@:2}") later line
  while [ ${#todo[@]} -ne 0 ] || [ ${#pids[@]} -ne 0 ]; do
    later=()
    for line in ${todo[@]:+"${todo[@]}"}; do
      if [ ${#pids[@]} -ge "$lanes" ] || waits "$line" ${later[@]:+"${later[@]}"}; then
        later+=("$line")
      else
        start_step "$line" || failed=$((failed + 1))
      fi
    done
    todo=(${later[@]:+"${later[@]}"})
    [ ${#pids[@]} -eq 0 ] || wait_for_a_step
  done
}

# Process $1 and all that descend from it.
family_of() {
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

end_steps() {
  local family='' pid
  for pid in $(jobs -p); do  # one that has just been started is not among ${pids[@]} yet
    family="$family $(family_of "$pid")"
  done
  # shellcheck disable=SC2086  # several numbers
  [ -z "${family// /}" ] || as_root kill -KILL $family
  for pid in $family; do
    while is_alive "$pid"; do sleep 0.02; done
  done
  wait
}

end_run() {
  trap '' INT TERM HUP
  local names
  names=$(running_names)
  end_steps 2>/dev/null  # the shell says of each job that it was killed, whenever it happens to see it
  [ ! -t 1 ] || printf '\r'
  case $names in
    "") say "$1" ;;
    *,*) say "$1 while $names were running" ;;
    *) say "$1 while $names was running" ;;
  esac
  exit "$2"
}

# What a step has made as root, in the build folder or with npm, belongs to whoever owns the checkout. A step
# beside it may remove files meanwhile.
give_back() {
  [ "$(owner_of -n .)" -eq 0 ] || as_root find build tools tests -user root -exec chown -h "$(owner_of -n .)" {} + 2>/dev/null
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
