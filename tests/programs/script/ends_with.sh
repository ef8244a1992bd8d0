#!/usr/bin/env bash
# ends_with.sh image argument text folder tarnrun wine
# The program ends by itself, not by a time limit, with a status other than 0;
# says `text` on either output; and does not go on.
set -uo pipefail
image=$1 argument=$2 text=$3 folder=$4
export TARNENVAR=kill_dialogbox
failed=0
mkdir -p "$folder" && cd "$folder" || exit 1
for runner in "$5" "$6"; do
  [[ -z $runner || $runner == *NOTFOUND ]] && continue
  timeout 60 "$runner" "$image" ${argument:+"$argument"} >output 2>&1 </dev/null
  status=$?
  if [ $status = 0 ] || [ $status = 124 ] || ! grep -qF -- "$text" output ||
    grep -q survived output; then
    echo "FAILED: $runner: status $status, output:"
    head -40 output
    failed=1
  fi
done
exit $failed
