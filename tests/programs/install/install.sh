#!/usr/bin/env bash
# install.sh HOST_BUILD WINDOWS_BUILD FOLDER WINE
set -euo pipefail
host=$1 windows=$2 folder=$3 wine=$4
here=$(cd "$(dirname "$0")" && pwd)
root=$folder/root
prefix=$root/usr
rm -rf "$folder"
mkdir -p "$folder/work"
cd "$folder/work"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# expect STATUS TEXT COMMAND...: the command's status, and a text in what it says.
expect() {
  local status=$1 text=$2 got=0 said
  shift 2
  said=$("$@" 2>&1) || got=$?
  [ "$got" = "$status" ] || fail "$*: status $got, not $status: $said"
  case $said in *"$text"*) ;; *) fail "$*: says: $said" ;; esac
}

# The packages, in a root of their own, and what is for other machines.
"$here/../../../scripts/make_packages.sh" "$folder/packages" "$host" "$windows" ||
  fail "make_packages.sh"
if [ "$(id -u)" = 0 ]; then
  mkdir -p "$root"/var/lib/dpkg/{info,updates}
  touch "$root"/var/lib/dpkg/{status,available}
  in_root() { dpkg --root="$root" --force-depends --force-script-chrootless "$@" >dpkg.log 2>&1; }
  find "$root" | sort >empty.list
  in_root --install "$folder"/packages/*.deb || { cat dpkg.log; fail "dpkg --install"; }
else
  for package in "$folder"/packages/*.deb; do dpkg-deb -x "$package" "$root"; done
fi
cmake -E make_directory zip && (cd zip && cmake -E tar xf "$folder"/packages/*.zip)
mkdir linux && tar -C linux -xf "$folder"/packages/*-linux-x86_64.tar.xz
PATH=$prefix/bin:$PATH
for tool in tarnrun tarncc finish_image tarnreport; do
  read -r -d '' facts < <(readelf -hldsW "$prefix/bin/$tool" 2>&1) || true
  for fact in 'DYN (' GNU_RELRO; do
    [[ $facts == *"$fact"* ]] || fail "$tool is not hardened: no $fact"
  done
done

cp "$here"/consumer/*.c .
printf '#include <stdio.h>\nint main(void) { printf("hello\\n"); return 4; }\n' >hello.c
printf 'int main(void) { return no_such_thing; }\n' >broken.c
printf '__attribute__((section(".tarnimg"))) long long n[5] = {1};\n' >refused.c
printf '#include <tarn/profile.h>\nTARN_PROFILE_SOURCE("twice.c", 9)\n' >twice.c

# The first minute.
tarncc hello.c -o hello.exe
expect 4 hello tarnrun hello.exe
[ -z "$wine" ] || expect 4 hello "$wine" hello.exe
tarncc --dll greeting_part.c -o part.dll
tarncc greeting.c libpart.dll.a -o greet.exe
expect 3 "Hello, Ann" tarnrun greet.exe Ann
tarncc -c hello.c && tarncc hello.o --strip -o again.exe
expect 4 hello tarnrun again.exe
if [ -n "$wine" ]; then # the compiler of a machine with Windows is not here
  TARN_CC=nowhere expect 1 "there is no compiler nowhere" "$wine" zip/*/bin/tarncc.exe hello.c
  expect 1 "there is no gcc on PATH; install mingw-w64's" "$wine" zip/*/bin/tarncc.exe hello.c
fi

# One file: it needs no installation and no DLL of the program's; the Windows one has all beside
# it. It starts other images, and is refused if it is not whole.
mkdir -p away/dlls && mv part.dll libpart.dll.a away/dlls
tarncc --standalone greeting.c away/dlls/libpart.dll.a -o away/greet
cat >away.cpp <<'END'
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
int main(int count, char** arguments) {
  try {
    throw std::runtime_error(count > 1 ? "thrown" : "not thrown");
  } catch (const std::exception& error) {
    std::puts(error.what());
    std::fflush(stdout);
  }
  std::printf("status %d\n", std::system(arguments[1]));
  std::fflush(stdout);
  std::abort();
}
END
tarncc --standalone away.cpp -o away/cpp.exe
tarncc --standalone "$here/consumer/counting.f90" -o away/counting
mkdir alone && mv away/{greet,cpp,counting} alone && cp hello.exe alone
for run in "alone/%s" ${wine:+"$wine away/%s.exe"}; do
  expect 3 "Hello, Ann" ${run/\%s/greet} Ann
  expect 7 "Counting 1 2 3" ${run/\%s/counting}
done
said=$(cd alone && PATH= ./cpp hello.exe 2>&1) && fail "an abort is told by its status"
for text in thrown hello "status 4" "report on cpp" "in main in line 13"; do
  case $said in *"$text"*) ;; *) fail "standalone: no '$text' in: $said" ;; esac
done
size=$(stat -c %s alone/greet)
for left in $((size - 1)) $((size - 5000)) $((size - 60000)); do
  head -c $left alone/greet >cut && chmod +x cut
  expect 126 "./cut: is cut off" ./cut
done
size_carried=$((size - ($(stat -c %s "$prefix/bin/tarnrun") + 4095) / 4096 * 4096))
for at in 0 6 20 300 9000; do # of what it carries: the count, names, places, images
  cp alone/greet cut
  printf '\377' | dd of=cut bs=1 seek=$((size - size_carried + at)) conv=notrunc status=none
  expect 126 "./cut: is damaged" ./cut
done
mv away/dlls/* .

# As a compiler: each as GCC does it, or refused in one line.
[ "$(printf 'int x = N;' | tarncc -E -P -DN=5 -)" = "int x = 5;" ] || fail "-E of standard input"
printf 'int main(void) { return 6; }' | tarncc -pipe --param max-inline-insns-auto=9 -x c - -o in.exe
expect 6 "" tarnrun in.exe
[ "$(tarncc -S -o - hello.c | grep -c 'call.*printf')" = 1 ] || fail "-S -o -"
[ "$(tarncc -dumpmachine)" = x86_64-w64-mingw32 ] || fail "-dumpmachine"
expect 0 "gcc version" tarncc -v
expect 0 "GNU Fortran" tarncc --fortran --version
expect 0 "hello.o: hello.c" tarncc -M hello.c
tarncc -MMD -MF deps.d -MT made -c hello.c && grep -q '^made: hello.c' deps.d || fail "-MF -MT"
tarncc -MMD hello.c -o deps.exe && grep -q '^deps.exe: hello.c' deps.d || fail "-MMD while linking"
printf '"hello.c"\n-DTEXT=a\\ b @more.rsp' >some.rsp && printf "'-o' file.exe -Xlinker -s" >more.rsp
tarncc @some.rsp && expect 4 hello tarnrun file.exe
tarncc -shared greeting_part.c -o part.dll -Wl,--out-implib,other.a && [ -s other.a ] || fail "-shared"
expect 1 "-flto is not supported: it is for hosted programs" tarncc -flto hello.c
echo "int share(int n) { return 6 / (2 - n); }" >share.c
printf 'int share(int);\nint main(int n, char** v) {\n  return share(n);\n}\n' >whole.c
tarncc --hosted -O2 -flto -c whole.c && tarncc --hosted -flto -shared share.c -o share.dll -Wl,--output-def -Wl,share.def &&
  tarncc whole.o libshare.dll.a -o whole.exe && expect 6 "" tarnrun whole.exe
echo "__declspec(dllexport) int one;" >one.c
tarncc --hosted -shared one.c share.c -Wl,--export-all-symbols -o share.dll &&
  tarncc whole.o libshare.dll.a -o whole.exe && expect 6 "" tarnrun whole.exe
expect 0 "close, return to the loader" finish_image --list share.dll
echo "void main(void) { memmem(), memrchr(), qsort_r(), strchrnul(); }" >undeclared.c
[ "$(tarncc --hosted -w undeclared.c 2>&1 | grep -c "undefined reference")" = 4 ] || fail "no header declares it"
[ -z "$wine" ] || expect 6 "" "$wine" whole.exe
tarncc --hosted --coverage whole.c share.c -o counted.exe && expect 6 "" tarnrun counted.exe
[ -s counted-whole.gcno ] && [ -s counted-share.gcda ] || fail "--coverage"
expect 1 "--coverage is not supported: it is for hosted programs" tarncc --coverage hello.c
tarncc -O2 -flto whole.o --hosted share.c -o whole.exe && expect 1 "in main in line 3" tarnrun whole.exe 2
bases=$(for run in 1 2; do TARN_RANDOM_BASES=1 tarnrun whole.exe 2 2>&1 || true; done | grep -o ') at address .*')
[ "$(sort -u <<<"$bases" | wc -l)" = 2 ] || fail "TARN_RANDOM_BASES: $bases"
cp "$here/own.c" .
echo 'int rand(void) { return 6; }' >another.c
tarncc --hosted own.c -o own.exe
for runner in tarnrun ${wine:+"$wine"}; do
  expect 5 "33 123 3, 1 0, value, own: No such file or directory" "$runner" own.exe
done
expect 1 "multiple definition of \`rand'" tarncc --hosted own.c another.c -o own.exe
echo '#include <time.h>' >wants_time.c
expect 1 "time.h: available with --hosted" tarncc -c wants_time.c
echo 'double sqrt(double); int main(int n, char** v) { return (int)sqrt(n); }' >wants_sqrt.c
expect 1 "tarncc: sqrt: available with --hosted" tarncc wants_sqrt.c
echo 'int x;' | gcc -x c -c - -o native.o
expect 1 "native.o: is a Linux object" tarncc hello.c native.o
expect 1 "only hosted programs have POSIX threads" tarncc -pthread hello.c
expect 1 "-fsanitize=bool,address is not supported: only" tarncc -fsanitize=bool,address hello.c
expect 2 "no value after -include" tarncc hello.c -include
expect 2 "x?y.c: there is no such file" tarncc $'x\ty.c'
cat >registers.c <<'END'
#include <cpuid.h>
#include <stdbool.h>
#include <stdio.h>
_Thread_local int counter = 3;
int main(void) {
  unsigned a, b, c, d;
  const bool there = __get_cpuid(0, &a, &b, &c, &d);
  printf("%d\n", there && a > 0 && b != 0 && c != 0 && d != 0);
  return ++counter;
}
END
tarncc registers.c -o registers.exe
expect 4 1 tarnrun registers.exe
[ -z "$wine" ] || expect 4 1 "$wine" registers.exe

# An old program means what its compiler made of it, unless a later option takes that back.
expect 1 "Error" tarncc --legacy -w -fdec -fno-dec "$here/old.f" -o old.exe
# Linked by what autoconf takes from the compiler's own words.
tarncc --legacy -w -O2 -c "$here/old.f" -o old.o
tarncc old.o "$prefix"/lib/tarnlib/lib{tarncrt,tarnfortran,tarnhosted}.a -lssp -lmingwex -lgfortran -lquadmath -o old.exe
old_means_what_it_meant() {
  for runner in tarnrun $wine; do
    [ "$("$runner" $1 | tr -s ' \r\n' ' ')" = \
      " HOLLERIT 111 00000000 3FF00000 3F800000 00000002 2147414580 112 " ] || fail "--legacy: $runner $1"
  done
}
old_means_what_it_meant old.exe

# A manifest of the program's own takes the place of the library's.
tarncc hello.c -o hello.exe && grep -q activeCodePage hello.exe || fail "no manifest"
echo '1 24 { "<assembly>own</assembly>" }' >own.rc && x86_64-w64-mingw32-windres own.rc own.o
tarncc hello.c own.o -o own.exe && grep -q "<assembly>own" own.exe || fail "not its own manifest"
! grep -q activeCodePage own.exe || fail "two manifests"

# The DLL beside an image: replaced where it differs, whole or not at all.
printf damaged >TARNLIBC64.DLL
tarncc hello.c -o hello.exe && cmp TARNLIBC64.DLL "$prefix/lib/tarnlib/TARNLIBC64.DLL"
mkdir small && printf cut >small/TARNLIBC64.DLL
(
  ulimit -f 128 # kB, enough for the program alone
  trap '' XFSZ
  expect 1 "cannot put TARNLIBC64.DLL beside the image: File too large" tarncc hello.c -o small/hello.exe
)
[ "$(cat small/TARNLIBC64.DLL)" = cut ] && [ "$(ls small | wc -l)" = 2 ] || fail "half a DLL: $(ls -l small)"

# An end by a signal takes the scratch folder along; nobody else may look into it.
mkdir scratch
printf '#!/bin/sh\nstat -c %%a "$TMPDIR"/*\nexec sleep 60\n' >slow && chmod +x slow
TMPDIR=$PWD/scratch TARN_CC=./slow tarncc hello.c >mode &
while [ ! -s mode ]; do sleep 0.1; done
kill -TERM $!
wait $! && fail "SIGTERM ends tarncc with 0"
[ "$(cat mode)" = 700 ] && [ -z "$(ls scratch)" ] || fail "the scratch folder: $(cat mode; ls scratch)"

# Mistakes: one line that says what to do.
expect 2 "no source file" tarncc -o hello.exe
expect 2 "none/hello.exe: there is no folder none" tarncc hello.c -o none/hello.exe
expect 2 "missing.c: there is no such file" tarncc missing.c
echo >hello.adb
expect 2 "hello.adb: unknown suffix; name its language with -x" tarncc hello.adb
expect 2 "missing: there is no such file" tarncc missing
TARN_FC=nowhere expect 1 "there is no compiler nowhere (TARN_FC)" tarncc "$here/consumer/counting.f90"
expect 1 "only hosted programs have POSIX threads" tarncc -fopenmp hello.c
expect 2 "2G: not a stack size" tarncc --stack 2G hello.c
expect 2 "unknown option --wrong" tarncc --wrong hello.c
expect 2 "unknown option -hosted: it is --hosted" tarncc -hosted hello.c
expect 2 "hello.c: would be overwritten" tarncc hello.c -o ./hello.c
expect 2 "hello.o: would be overwritten" tarncc hello.o -o ./hello.o
expect 1 no_such_thing tarncc broken.c -o broken.exe
expect 1 "ends in a dot and three letters" tarncc -c twice.c
expect 1 "ends in a dot and three letters" tarncc -c -std=c99 -pedantic-errors twice.c
expect 1 "finish_image: refused.dll: section .tarnimg holds something that is not a note" tarncc --dll refused.c -o refused.dll
for file in broken.exe refused.dll librefused.dll.a; do
  [ ! -e $file ] || fail "a refused source made $file"
done
TARN_CC=./hello.c expect 1 "there is no compiler ./hello.c" tarncc hello.c
printf '#!/nowhere/shell\n' >compiler && chmod +x compiler
TARN_CC=./compiler expect 1 "cannot run ./compiler" tarncc hello.c
expect 1 "install gcc-mingw-w64-x86-64" env PATH=/nowhere "$prefix/bin/tarncc" hello.c
expect 126 "not" tarnrun hello.c
expect 127 "missing.exe" tarnrun missing.exe
x86_64-w64-mingw32-gcc -o plain.exe hello.c
expect 126 "compile it with tarncc" tarnrun plain.exe
x86_64-w64-mingw32-strip hello.exe -o stripped.exe
expect 126 "let tarncc -s strip it" tarnrun stripped.exe
rm part.dll
expect 126 "part.dll" tarnrun greet.exe
if mv "$prefix/lib/tarnlib/program_start.o" start.o; then
  expect 1 "program_start.o" tarncc hello.c
  mv start.o "$prefix/lib/tarnlib/program_start.o"
fi

# From other projects.
cmake -S "$here/consumer" -B consumer -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_TOOLCHAIN_FILE="$prefix/lib/cmake/tarnlib/mingw-w64.cmake" >consumer.log 2>&1 ||
  { cat consumer.log; fail "find_package"; }
cmake --build consumer >>consumer.log 2>&1 || { cat consumer.log; fail "tarn_add_program"; }
mkdir mistaken && printf 'cmake_minimum_required(VERSION 3.20)\nproject(mistaken C)
find_package(tarnlib)\ntarn_add_program(counting SOURCES %s)' "$here/consumer/counting.f90" >mistaken/CMakeLists.txt
expect 1 "Fortran;" env PATH=/usr/bin:/bin cmake -S mistaken -B mistaken/out \
  -DCMAKE_TOOLCHAIN_FILE="$prefix/lib/cmake/tarnlib/mingw-w64.cmake"
expect 3 "Hello, Bea" tarnrun consumer/programs/greeting.exe Bea
expect 6 "a/b 1.5" tarnrun consumer/programs/hosted.exe a/b
expect 6 "inf" tarnrun consumer/programs/hosted.exe
expect 1 "Floating point divide by zero" tarnrun consumer/programs/trapping.exe
expect 7 "Counting 1 2 3" tarnrun consumer/programs/counting.exe
old_means_what_it_meant consumer/programs/old.exe
cmake -S "$here/hosted" -B hosted -DCMAKE_INSTALL_PREFIX="$PWD/put there" -DCMAKE_C_FLAGS=-O1 \
  -DCMAKE_TOOLCHAIN_FILE="$prefix/lib/cmake/tarnlib/hosted.cmake" >hosted.log 2>&1 &&
  cmake --build hosted >>hosted.log 2>&1 && cmake --install hosted --strip >>hosted.log 2>&1 &&
  ctest --test-dir hosted >>hosted.log 2>&1 ||
  { cat hosted.log; fail "an ordinary project"; }
for runner in tarnrun $wine; do
  expect 6 "Hello, a/b" "$runner" "put there/bin/greeting.exe" a/b
  expect 6 "1.5 1" "$runner" "put there/bin/greeting.exe"
  expect 7 "Counting 1 2 3" "$runner" "put there/bin/counting.exe"
done
export PKG_CONFIG_PATH=$prefix/share/pkgconfig
cc=x86_64-w64-mingw32-gcc
cmake -S "$here/compiled" -B compiled -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
  -DCMAKE_C_COMPILER="$prefix/bin/tarncc" -DCMAKE_CXX_COMPILER="$prefix/bin/tarncc" \
  >compiled.log 2>&1 ||
  { cat compiled.log; fail "CMake with tarncc"; }
cmake --build compiled >>compiled.log 2>&1 || { cat compiled.log; fail "built with tarncc"; }
expect 5 "Hello, Cy" tarnrun compiled/greeting Cy
# CMake's makefiles pack the objects and name -lkernel32, and FindThreads knows -lpthread. A
# test framework has main in its library.
cat >packed.cpp <<'END'
#include <windows.h>
#include <cstdio>
#include <mutex>
int main() {
  WaitForSingleObject(CreateThread(nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr),
                      INFINITE);
  std::mutex mutex;
  try {
    throw (std::lock_guard<std::mutex>(mutex), 3);
  } catch (int) {
    std::puts("caught");
  }
}
END
tarncc -c packed.cpp && x86_64-w64-mingw32-ar qc packed.a packed.o &&
  tarncc -Wl,--whole-archive packed.a -Wl,--no-whole-archive -lpthread -o packed.exe ||
  fail "packed objects"
expect 0 caught tarnrun packed.exe
tarncc packed.a -lkernel32 -o packed.exe || fail "main in a library"
expect 0 caught tarnrun packed.exe
by_package() { # KIND SOURCE [OBJECT]
  $cc $(pkg-config --cflags $1) -g -c "$2" -o packaged.o
  $cc "$(pkg-config --variable=start $1)" packaged.o ${3-} $(pkg-config --libs $1) -o packaged.tmp.exe
  "$(pkg-config --variable=finish_image $1)" $(pkg-config --variable=finish_options $1) \
    packaged.tmp.exe -o packaged.exe
}
by_package tarnlib-hosted "$here/consumer/hosted/hosted.c" "$(pkg-config --variable=traps tarnlib-hosted)"
expect 1 "Floating point divide by zero" tarnrun packaged.exe
for kind in tarnlib tarnlib-hosted; do
  by_package $kind hello.c
  expect 4 hello tarnrun packaged.exe
done
if [ -n "$wine" ]; then # over the one that is there
  expect 0 "" "$wine" zip/*/bin/finish_image.exe packaged.tmp.exe -o packaged.exe
fi
expect 4 hello tarnrun packaged.exe

# One version everywhere.
version=$(tarnrun --version | cut -d' ' -f2)
[ "$(tarncc --version | head -1)" = "tarncc $version" ] || fail "tarncc --version"
grep -q "PACKAGE_VERSION \"$version\"" "$prefix/lib/cmake/tarnlib/tarnlibConfigVersion.cmake" ||
  fail "version of the CMake package"
tr -d '\0' <"$prefix/lib/tarnlib/TARNLIBC64.DLL" | grep -acF "ProductVersion$version" >version.count ||
  fail "version of the DLL"

# The packages: what Linux gives tarnrun by itself, what is for other machines, and the end.
binfmts() {
  update-binfmts --admindir "$PWD/formats" --importdir "$prefix/share/binfmts" --procdir "$PWD/kernel" "$@"
}
mkdir formats kernel && touch kernel/tarnrun && binfmts --import tarnrun
tarncc --report-only hello.c -o report.exe
expect 0 /usr/bin/tarnrun binfmts --find hello.exe
for file in plain.exe report.exe; do
  [ -z "$(binfmts --find $file)" ] || fail "$file would be given to tarnrun"
done
completed=$(bash -c '. "$1"; _tarnlib_complete tarncc --hos; echo "${COMPREPLY[*]}"' - \
  "$prefix/share/bash-completion/completions/tarncc")
[ "$completed" = --hosted ] || fail "completion: $completed"
linux/*/bin/tarncc hello.c -o packed.exe
expect 4 hello linux/*/bin/tarnrun packed.exe
for file in bin/tarncc.exe bin/finish_image.exe bin/TARNLIBC64.DLL include/tarnlib/stdio.h \
  lib/tarnlib/libtarnlibc64.dll.a share/doc/tarnlib/README.md; do
  [ -s zip/*/"$file" ] || fail "the zip lacks $file"
done
if [ "$(id -u)" = 0 ]; then
  in_root --purge tarnrun tarnrun-binfmt tarnlib-{tools,dev,doc} {tarnrun,tarnlib-tools,tarnlib-dev}-dbgsym ||
    { cat dpkg.log; fail "dpkg --purge"; }
  find "$root" | sort | grep -v /var/lib/dpkg/ >left.list
  grep -v /var/lib/dpkg/ empty.list | cmp - left.list || fail "left behind: $(cat left.list)"
fi
echo "install: all as expected"
