#!/usr/bin/env bash
# ordinary.sh HOST_BUILD WINDOWS_BUILD FOLDER WINE
set -euo pipefail
host=$1 windows=$2 folder=$3 wine=$4
here=$(cd "$(dirname "$0")" && pwd)
prefix=$folder/prefix
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# run STATUS PROGRAM MODE: its status and, on standard input, its words but for addresses
# and the frames of the system.
run() {
  local got=0
  "$wine" "$2" "$3" </dev/null >said 2>&1 || got=$?
  tr -d '\r' <said | sed 's/, at address .*//; s/at address .*/at X/; s,file .*/project/,file project/,; /^in pthread/,$d' >said.text
  diff - said.text || fail "$2 $3 says something else"
  [ "$got" = "$1" ] || fail "$2 $3: status $got, not $1"
}
start='control 1f80 37f, 1/0 inf, 2 arguments
control of a thread 1f80 27f
console 0'

for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$prefix" >/dev/null
done
PATH=$prefix/bin:$PATH
cmake -S "$here/project" -B built -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_TOOLCHAIN_FILE="$prefix/lib/cmake/tarnlib/mingw-w64.cmake" >log 2>&1 || { cat log; fail cmake; }
cmake --build built >>log 2>&1 || { cat log; fail "tarn_add_report"; }
cd built

run 7 plain.exe none <<<"$start"
run 5 plain.exe signals <<<"$start
recovered
own end"
run 5 plain.exe fault <<END
$start

Brackenmoor exception report on plain.exe
Access violation (c0000005) at X

Within file libpart.dll
in store in line 1
Within file plain.exe
in main in line 58
END
run 3 plain.exe assert <<END
$start

Brackenmoor exception report on plain.exe
Abnormal end: abort was called at X

Within file plain.exe
in main in line 59
Assertion failed: count == 9, file project/plain.c, line 59

END
run 253 plain.exe overflow <<END
$start

Brackenmoor exception report on plain.exe
Stack overflow (c00000fd) at X

Within file plain.exe
$(for i in 0 1 2 3 4 5 6 7 8 9; do echo "in recurse in line $((i == 0 ? 27 : 31))"; done)
END
run 3 threads.exe thread <<END
caught: no more than 2

Brackenmoor exception report on threads.exe
Uncaught C++ exception Exceeded<std::string>: no more than 2 at X

Within file threads.exe
in check(int) in line 14
in execute_native_thread_routine at X
END
run 3 threads.exe quiet <<END
caught: no more than 2

Brackenmoor exception report on threads.exe
Uncaught C++ exception Exceeded<std::string>: no more than 2 at X

Within file threads.exe
in check(int) in line 14
in quiet(int) in line 16
in main in line 25
END

# By tarncc and by hand; stripped, the tables stay. Without the library it is the program alone.
cd ..
tarncc --report-only -O2 -g --dll "$here/project/part.c" -o part.dll
tarncc --report-only -O2 -g -fopenmp "$here/project/plain.c" libpart.dll.a -s -o plain.exe
mkdir saved
TARN_REPORT_FOLDER=saved run 5 plain.exe fault <<END
$start

Brackenmoor exception report on plain.exe
Access violation (c0000005) at X

Within file part.dll
in store in line 1
Within file plain.exe
in main in line 58
END
for line in 'in store in line 1,' 'Access: writing to 8' 'Modules: plain.exe at ' 'Command line: .* fault'; do
  grep -q "^$line" saved/plain.exe-* || fail "not saved: $line"
done
x86_64-w64-mingw32-gcc -O2 "$here/project/plain.c" libpart.dll.a -L"$prefix/lib/tarnlib" -ltarnreport -o plain.exe
finish_image --report-only plain.exe
rm TARNLIBC64.DLL
run 7 plain.exe none <<<"$start"
x86_64-w64-mingw32-gcc -s -o bare.exe -x c - <<<'int main(void) { return 0; }'
said=$(finish_image --report-only bare.exe 2>&1) && fail "an image without symbols is finished"
[[ $said == *"link without -s"* ]] || fail "$said"
echo "ordinary programs: all as expected"
