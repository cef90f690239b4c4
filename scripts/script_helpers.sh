# Shared by the scripts in this directory, which source it after setting
# `script` to their own name for the messages.

fail() {
  echo "$script: FAIL: $*" >&2
  exit 1
}

# Runs a command with its output in a log, shown only when it fails.
quiet() {
  local log=$1
  shift
  local status=0
  "$@" >"$log" 2>&1 || status=$?
  if [ "$status" != 0 ]; then
    cat "$log" >&2
    fail "$* (exit $status)"
  fi
}
