#!/usr/bin/env bash
# ends_with.sh ... image argument text
# The program ends by itself, not by a time limit, with a status other than 0;
# says `text` on either output; and does not go on.
. "$(dirname "$0")/../../support/targets.sh"
image=$programs/$1.exe argument=$2 text=$3
export TARNENVAR=kill_dialogbox

visit() {
  timeout 60 "$runner" "$image" "$argument" >output 2>&1 </dev/null
  local status=$?
  [ $status != 0 ] && [ $status != 124 ] && grep -qF -- "$text" output && ! grep -q survived output ||
    fail "status $status, output: $(head -40 output)"
}

on_targets
exit $failed
