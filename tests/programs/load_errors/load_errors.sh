#!/usr/bin/env bash
# A file that cannot run is not run: one line says why, and nothing
# of it runs.
. "$(dirname "$0")/../../support/targets.sh"
export LC_ALL=C
mkdir sub

# refused file status text
refused() {
  "$tarnrun" "$1" argument >out 2>err
  local status=$?
  [ "$status" = "$2" ] || fail "$1: exit status $status, wanted $2"
  [ ! -s out ] || fail "$1: something ran: $(head -1 out)"
  [ "$(cat err)" = "tarnrun: ${1//[[:cntrl:]]/?}: $3" ] || fail "$1: wanted \"$3\", got: $(cat err)"
}

cp "$programs/hello.exe" good.exe
"$tarnrun" good.exe >out 2>/dev/null && [ -s out ] || fail "the good image does not run"
pe=$(od -An -tu4 -j60 -N4 good.exe)
size=$(stat -c %s good.exe)

# Without its extension, also where a folder has the shorter name.
mkdir good
for name in good ./good "$PWD/good"; do
  "$tarnrun" "$name" >out 2>&1 && [ -s out ] || fail "$name does not find good.exe: $(cat out)"
done
refused none 127 "there is no such file"
refused $'no\e[31mne' 127 "there is no such file"
refused none.exe 127 "there is no such file"
refused sub 126 "is a directory"
: >empty.exe
refused empty.exe 126 "is empty"
echo 'echo "a shell script, and no image"; exit 0' >text.exe
refused text.exe 126 "is not a program image; tarncc makes one from sources"
mkfifo pipe.exe
refused pipe.exe 126 "is not a regular file"
head -c $((pe + 100)) good.exe >headers.exe
refused headers.exe 126 "is cut off: the file ends inside its headers"
cp "$programs/hello.unfinished.exe" .
refused hello.unfinished.exe 126 "was linked but not finished; run finish_image on it"
sed 's/TARNLIBC64.DLL/TARNOTHERS.DLL/g' hello.unfinished.exe >ordinary.exe
refused ordinary.exe 126 "is an ordinary Windows image; compile it with tarncc"
cp "$programs/common_blocks_part.dll" part.dll
cp "$programs/common_blocks.exe" .
refused common_blocks.exe 126 "needs common_blocks_part.dll: it is neither beside the program nor \
in the current folder nor on PATH"
head -c 600 part.dll >common_blocks_part.dll
refused common_blocks.exe 126 "needs common_blocks_part.dll: is cut off: the file ends inside its \
headers"
perl -0777 -pe 's/(?<![a-z])printf\0/prontf\0/g' good.exe >unknown.exe
refused unknown.exe 126 "imports prontf, which TARNLIBC64.DLL does not have"

perl -0777 -pe 's/CreateFileA\0/CreateFalsA\0/g' "$programs/hosted_iso_c.exe" >foreign.exe
refused foreign.exe 126 "imports CreateFalsA, which KERNEL32.dll does not have"

# Wherever it is cut: one line, and nothing runs.
for cut in $(seq 1 997 $((size - 1))); do
  head -c "$cut" good.exe >cut.exe
  "$tarnrun" cut.exe >out 2>err
  status=$?
  # Behind the sections there are only symbols, which nobody needs.
  if [ "$status" = 0 ]; then
    [ "$cut" -gt $((size / 2)) ] || fail "cut after $cut of $size bytes, it runs"
  elif [ "$status" != 126 ] || [ -s out ] || [ "$(wc -l <err)" != 1 ]; then
    fail "cut after $cut bytes: exit status $status, $(cat out err)"
  fi
done

"$tarnrun" >out 2>err
[ $? = 2 ] && [ ! -s out ] && [ "$(wc -l <err)" = 1 ] || fail "no arguments"
"$tarnrun" --unknown >out 2>err
[ $? = 2 ] && [ ! -s out ] && [ "$(wc -l <err)" = 1 ] || fail "an unknown option"
"$tarnrun" --help >out && grep -q 'Exit status' out || fail "--help"
"$tarnrun" --version >out && grep -Eq '^tarnrun [0-9]+\.[0-9]+\.[0-9]+$' out || fail "--version"
exit $failed
