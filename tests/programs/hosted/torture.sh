#!/usr/bin/env bash
# torture.sh c|fortran|c++|libstdc++ tests host-build windows-build run-folder wine
#
# GCC's own execution tests as hosted programs: each that a plain static program of the
# cross compiler passes under Wine passes by tarnrun and under Wine, and prints the same,
# but for the exceptions in torture_exceptions.txt. Some at -O2; with TARN_EVERY_TORTURE=1
# each, of C at -O0, -O1, -O2, -O3 and -Os, of Fortran and C++ at -O0 and -O2. Each
# TARN_TORTURE_STEP-th at TARN_TORTURE_LEVELS, if these are set, for a part of a long run.
# Fails as well if more than `share` of a hundred are left out. Tests of what the cross
# compiler has not, by their folder (`foreign`) or by their own words (`needs`), do not
# count: named locales, fork, sanitizers, profiles, other targets.
set -uo pipefail
language=$1 tests=$2 host=$3 windows=$4 folder=$5 wine=$6
exceptions=$(realpath "$(dirname "$0")")/torture_exceptions.txt
tarncc=$folder/prefix/bin/tarncc tarnrun=$folder/prefix/bin/tarnrun

whole=() foreign='a^' needs='a^' run='dg-do +run' helpers_hosted= helpers_plain=
case $language in
c)
  compiler=x86_64-w64-mingw32-gcc option=--hosted step=11 share=5 levels=(-O0 -O1 -O2 -O3 -Os)
  whole=(gcc.c-torture/execute gcc.c-torture/execute/ieee) chosen=(gcc.dg/torture)
  ;;
fortran)
  compiler=x86_64-w64-mingw32-gfortran-posix option=--fortran step=53 share=3 levels=(-O0 -O2)
  whole=(gfortran.fortran-torture/execute)
  chosen=(gfortran.dg gfortran.dg/c-interop gfortran.dg/g77 gfortran.dg/ieee gfortran.dg/coarray)
  ;;
c++)
  compiler=x86_64-w64-mingw32-g++-posix option=--hosted step=53 share=8 levels=(-O0 -O2)
  mapfile -t chosen < <(cd "$tests" 2>/dev/null && find g++.dg -type d 2>/dev/null)
  foreign='/(asan|hwasan|tsan|ubsan|gcov|gomp|tree-prof|special)/'
  needs='run *\{ *target [ {]*(arm|aarch|mips|powerpc|hppa|ia64|[^}!]*-(linux|solaris|aix))|'
  needs+='effective-target (ilp32|arm|fpic|profile)|require-(ifunc|profiling|iconv)|'
  needs+='effective-target size..plus'
  ;;
libstdc++)
  compiler=x86_64-w64-mingw32-g++-posix option=--hosted run= step=211 share=8 levels=(-O2)
  mapfile -t chosen < <(cd "$tests" 2>/dev/null && find libstdc++ -type d 2>/dev/null)
  foreign='(performance|util|libstdc[+]*-(prettyprinters|xmethods))/'
  needs='dg-do +(compile|preprocess|assemble|link)|run *\{ *target [^}!]*-linux|dg-require-'
  needs+='(namedlocale|debug|parallel|iconv|fork|mkfifo|sharedlib|profile)|'
  needs+='effective-target (tbb|net_ts|dfp|ilp32)'
  ;;
esac
[ "${TARN_EVERY_TORTURE:-0}" = 1 ] && step=1 || levels=(-O2)
step=${TARN_TORTURE_STEP:-$step}
read -ra levels <<<"${TARN_TORTURE_LEVELS:-${levels[*]}}"
[ -d "$tests/${chosen[0]:-none}" ] ||
  { echo "GCC's tests are not there; scripts/fetch_gcc_tests.sh brings them"; exit 77; }
rm -rf "$folder"
mkdir -p "$folder"

# What a test says of its own compilation, and its folder for all in it.
options_of() {
  sed -nE 's/.*dg-do run.*target [^}]*c\+\+(2a|20|23)[^_].*/-std=gnu++\1/p
    s/.*dg-do run.*target [^}]*(c\+\+17_only|! c\+\+20).*/-std=gnu++17/p
    s/.*dg-do run.*target [^}]*(c\+\+14_(down|only)|! c\+\+17).*/-std=gnu++14/p
    s/.*dg-do run.*target [^}]*(c\+\+98_only|! c\+\+11).*/-std=gnu++98/p' "$1" | head -n 1
  case $1 in
  */execute/ieee/*)
    echo -fno-inline
    grep -ohE -- '-fno-trapping-math' "${1%.c}.x" 2>/dev/null
    ;;
  */gfortran.dg/ieee/*) echo -fno-unsafe-math-optimizations -frounding-math -fsignaling-nans ;;
  */coarray/*) echo -fcoarray=single ;;
  */coroutines/*) echo -std=gnu++20 -fcoroutines ;;
  */libstdc++/*) echo "-I$tests/libstdc++/util" "'-DLOCALEDIR=\".\"'" ;;
  esac
  sed -nE '/ia32/d; s/.*dg-(additional-)?options "([^"]*)" *(\}|\{ *target [^}]*x86_64).*/\2/p' "$1"
}

# The modules that it uses come before it, what else belongs to it after it.
sources_of() {
  sed -nE "s,.*dg-compile-aux-modules \"?([^\" }]*).*,${1%/*}/\1,p" "$1"
  echo "$1"
  sed -nE 's/.*dg-additional-sources "?([^"}]*).*/\1/p' "$1" | xargs -rn 1 | sed "s,^,${1%/*}/,"
}

# passes COMMAND...: ends as the test wants, in an empty folder of its own.
passes() {
  rm -rf run
  mkdir run
  case $source in */libstdc++/*) cp "$tests"/libstdc++/data/* run ;; esac
  (cd run && exec timeout 60 "$@" </dev/null >../output 2>../errors)
  status=$?
  case $status in
  124 | 137) return 1 ;;
  0) ! grep -qE "$fails" "$source" ;;
  *) grep -qE "$fails" "$source" ;;
  esac
}

# What a plain program of the compiler fails at, if it does.
run_plain() {
  "$compiler" -static -w "${words[@]}" $helpers_plain -o plain.exe >/dev/null 2>&1 ||
    { echo "not built by the compiler alone"; return 1; }
  passes "$wine" ../plain.exe || { echo "plain programs fail under Wine"; return 1; }
}

run_hosted() {
  "$tarncc" "$option" --no-dlls -w "${words[@]}" $helpers_hosted -o program.exe >errors 2>&1 ||
    { echo "is not built"; return 1; }
  passes "$tarnrun" ../program.exe || { echo "ends with status $status by tarnrun"; return 1; }
  mv output output.host
  passes "$wine" ../program.exe || { echo "ends with status $status under Wine"; return 1; }
  cmp -s output.host output || { echo "prints something else under Wine"; return 1; }
}

one() {
  local source=$1 level=$2 words outcome reason status said scratch
  scratch=$(mktemp -d "$folder/XXXXXX")
  cd "$scratch" || exit 1
  ln "$folder"/prefix/lib/tarnlib/*.DLL .
  mapfile -t words < <(options_of "$source" | xargs -rn 1; sources_of "$source")
  words=("$level" "${words[@]}")
  if outcome=$(run_hosted); then
    echo "${source#"$tests"/} at $level" >>"$folder/passed"
  else
    said=$(head -n 3 errors)
    if reason=$(run_plain); then
      echo "FAILED ${source#"$tests"/} at $level: $outcome: $said"
    else
      echo "$reason: ${source#"$tests"/} at $level" >>"$folder/left_out"
    fi
  fi
  rm -rf "$scratch"
}
export -f one options_of sources_of passes run_plain run_hosted
export tests folder tarncc tarnrun wine compiler option helpers_hosted helpers_plain
export fails='dg-shouldfail|dg-do run.*xfail \*-\*-\*'

for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$folder/prefix" >/dev/null || exit 1
done
if [ "$language" = libstdc++ ]; then
  for each in hooks allocator character; do
    source=$tests/libstdc++/util/testsuite_$each.cc
    helpers_hosted+=" $folder/$each.hosted.o" helpers_plain+=" $folder/$each.plain.o"
    "$tarncc" -c -O2 -w "-I${source%/*}" "$source" -o "$folder/$each.hosted.o" || exit 1
    "$compiler" -c -O2 -w "-I${source%/*}" "$source" -o "$folder/$each.plain.o" || exit 1
  done
fi
cd "$tests" || exit 1
{
  for each in "${whole[@]}"; do find "$each" -maxdepth 1 -iname '*.[cf]*'; done
  for each in "${chosen[@]}"; do grep -lsiE "$run" "$each"/*.[cCfF]*; done
} | grep -vE "$foreign" | xargs grep -LE "$needs" | LC_ALL=C sort | sed -n "0~${step}p" >"$folder/all"
cd "$folder" || exit 1
for level in "${levels[@]}"; do
  grep -xFf <(sed 's/ .*//' "$exceptions") all | sed "s/.*/exceptions: & at $level/"
done >left_out
: >passed
grep -vxFf <(sed 's/ .*//' "$exceptions") all | sed "s,^,$tests/," >list
for level in "${levels[@]}"; do
  while read -r source; do printf '%s\0%s\0' "$source" "$level"; done <list
done | xargs -0 -n 2 -P "$(nproc)" bash -c 'one "$@"' one | tee failures
runs=$(($(wc -l <all) * ${#levels[@]}))
passed=$(wc -l <passed) failures=$(grep -c ^FAILED failures) left_out=$(wc -l <left_out)
echo "GCC's tests on both targets at ${levels[*]}: $passed of $runs pass, $failures fail; left out:"
sed 's/:.*//' left_out | sort | uniq -c
[ "$passed" = $((runs - left_out)) ] || exit 1
[ $((left_out * 100)) -le $((runs * share)) ] || { echo "more than $share % are left out"; exit 1; }
