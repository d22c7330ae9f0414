# Runs the steps of ./test and .ci/run and says what each costs; sourced.

# step NAME COMMAND...
step() {
  step_name="$1"
  shift
  step_begin="$(date +%s)"
  echo "== $step_name"
  "$@"
  echo "== $step_name took $(($(date +%s) - step_begin)) s"
}
