#!/usr/bin/env bash
# blas.sh ... tarball host-build windows-build
#
# The reference BLAS and its own tests, built by their makefiles: those of level 1 in all four
# types; with TARN_EVERY_PROGRAM=1 of all three levels, and LAPACK's in doubles, built by its
# CMake files. They pass, with the same output on both targets.
tarball=$5 host=$6 windows=$7
[ -s "$tarball" ] || { echo "the sources are not there; scripts/fetch_real_programs.sh brings them"; exit 77; }
. "$(dirname "$0")/../../support/targets.sh"
levels=1 wanted=46 only=('ALLOBJ=$(SBLAS1) $(DBLAS1) $(CBLAS1) $(ZBLAS1)')
every=${TARN_EVERY_PROGRAM:-0}
[ "$every" = 0 ] || levels="1 2 3" wanted=238 only=()
for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$folder/prefix" >/dev/null || exit 1
done
tar -xf "$tarball" --strip-components=1 --wildcards '*/BLAS' '*/make.inc.example' && mv make.inc.example make.inc
how=(FC="$folder/prefix/bin/tarncc --fortran --no-dlls" FFLAGS="-O2 -g -w" AR=x86_64-w64-mingw32-ar)
names=$(for level in $levels; do for type in s d c z; do echo xblat$level$type; done; done)
make -j2 -C BLAS/SRC "${how[@]}" ${only[@]+"${only[@]}"} >log 2>&1 &&
  make -j2 -C BLAS/TESTING "${how[@]}" -o ../../librefblas.a $names >>log 2>&1 || { tail -n 20 log; exit 1; }

build_lapack() {
  local program
  tar -xf "$tarball" --strip-components=1 && mkdir runners || return
  for program in zcomplexabs zcomplexdiv zcomplexmult zminMax; do # the build runs them by name
    printf '#!/bin/sh\nexec "%s" "%s/made/test_%s.exe"\n' "$tarnrun" "$folder" $program >runners/test_$program
  done
  chmod +x runners/*
  PATH=$folder/runners:$PATH
  cmake -S . -B made --toolchain "$folder/prefix/lib/cmake/tarnlib/hosted.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DBUILD_TESTING=ON -DBUILD_SINGLE=OFF -DBUILD_COMPLEX=OFF -DBUILD_COMPLEX16=OFF && cmake --build made -j2
}

visit_lapack() {
  local program input
  while read -r program input; do
    timeout 300 "$runner" "$program" <"$input" || fail "${input##*/} ends with status $?"
  done >lapack.out 2>&1 < <(sed -nE 's/.*TEST=([^"]*)".*INPUT=([^"]*)".*/\1 \2/p' "$folder/made/TESTING/CTestTestfile.cmake")
  passed=$(grep -cE 'passed the|passed$' lapack.out)
  [ "$passed" = 181 ] && ! grep -i fail lapack.out || fail "of LAPACK $passed pass"
  sed '/Total time used/d' lapack.out >>all
}

visit() {
  cp "$folder"/prefix/lib/tarnlib/*.DLL .
  for name in $names; do
    cp "$folder/BLAS/TESTING/$name" "$name.exe"
    input=$folder/BLAS/TESTING/${name: -1}blat${name:5:1}.in
    [ -f "$input" ] || input=/dev/null
    timeout 120 "$runner" "$name.exe" <"$input" >"$name.out" 2>&1 || fail "$name ends with status $?"
    cat "$name.out" "${name: -1}blat${name:5:1}.out" 2>/dev/null
  done >all
  # A line for each routine, and one for its error exits.
  passed=$(grep -cE 'PASS -|PASSED THE' all)
  [ "$passed" = $wanted ] || { grep -iE 'fail|suspect|\*\*\*' all; fail "$passed of $wanted pass"; }
  [ $every = 0 ] || visit_lapack
}

[ "$every" = 0 ] || build_lapack >log 2>&1 || { tail -n 20 log; exit 1; }
on_targets
[ -z "$wine" ] || cmp "$folder"/{tarnrun,wine}/all || fail "the two targets print different bytes"
exit $failed
