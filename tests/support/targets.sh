# Sourced by the scripts of tests, whose arguments are PROGRAMS RUN_FOLDER TARNRUN WINE [MORE...].
# What is left in $1 and the next is MORE; the run folder is made anew.
set -uo pipefail
programs=$1 folder=$2 tarnrun=$3 wine=$4
shift 4
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
failed=0 target=none

fail() {
  echo "FAILED on $target: $*"
  failed=1
  return 1
}

# Calls visit for tarnrun, and for Wine where there is one, in a folder of the target's own.
on_targets() {
  for target in tarnrun ${wine:+wine}; do
    runner=${!target}
    mkdir "$folder/$target" && cd "$folder/$target" || exit 1
    visit
  done
}
