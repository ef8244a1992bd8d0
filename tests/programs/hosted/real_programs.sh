#!/usr/bin/env bash
# real_programs.sh ... tarballs host-build windows-build [program...]
#
# Foreign programs as hosted ones, each built by its own makefile or CMake files: its tests
# end well by tarnrun and under Wine, and print what they print for the same sources built
# by plain mingw-w64, under Wine. Without names a few; with TARN_EVERY_PROGRAM=1 all.
tarballs=$5 host=$6 windows=$7
. "$(dirname "$0")/../../support/targets.sh"
shift 3
wanted=(zlib lua5.1 tinyxml2)
[ "${TARN_EVERY_PROGRAM:-0}" = 0 ] ||
  wanted=(zlib lua5.1 tinyxml2 bzip2 scheme9 cjson jansson sqlite3 duktape xz-utils bc
    doctest fmtlib nlohmann-json3 eigen3)
[ $# = 0 ] || wanted=("$@")
for program in "${wanted[@]}"; do
  [ -s "$tarballs/$program.tar" ] && continue
  echo "the sources of $program are not there; scripts/fetch_real_programs.sh brings them"
  exit 77
done
for build in "$host" "$windows"; do
  cmake --install "$build" --prefix "$folder/prefix" >/dev/null || exit 1
done
triple=x86_64-w64-mingw32
hosted="$folder/prefix/bin/tarncc --hosted"
plain="$triple-gcc -static -D__USE_MINGW_ANSI_STDIO=1"
cat >"$folder/plain.cmake" <<END
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER $plain)
set(CMAKE_CXX_COMPILER $triple-g++-posix)
set(CMAKE_RC_COMPILER $triple-windres)
END
libraries=$($triple-g++-posix -print-file-name=libstdc++-6.dll)
export WINEPATH="Z:${libraries%/*};Z:/usr/$triple/lib" LC_ALL=C AR=$triple-ar RANLIB=$triple-ranlib

make_bzip2() { make CC="$CC -w" AR="$AR" RANLIB="$RANLIB" bzip2 bzip2recover; }
test_bzip2() {
  make -o bzip2 test && ./bzip2 -k manual.pdf && ./bzip2recover manual.pdf.bz2 && ./bzip2 -t rec*.bz2 &&
    ./bzip2 -tvv manual.pdf.bz2 && ! ./bzip2 -t manual.html && cksum ./*.bz2
}

make_zlib() { ./configure --static && make static; }
test_zlib() { make -o static teststatic | sed 's/tmpst_[0-9]*/tmpst/'; }

scheme9=(DEFS='-DSIGQUIT=SIGBREAK -DLIBRARY_PATH="\".:lib:contrib\"" -DIMAGE_DIR="\".\"" -DEXTENSIONS='
  EXTRA_SCM= EXTRA_OBJS= EXTRA_LIBS=)
make_scheme9() { make CC="$CC -w" "${scheme9[@]}" s9; }
test_scheme9() { make -o s9 "${scheme9[@]}" realtest srtest libtest; }

make_lua5.1() {
  make -C src CC="$CC" MYCFLAGS=-w AR="$AR rcu" RANLIB="$RANLIB" LUA_T=lua lua &&
    tar -xf "$tarballs/golang-github-yuin-gopher-lua.tar" --strip-components=1 --wildcards '*/_lua5.1-tests'
}
# Left out: main.lua, which quotes for a shell of POSIX; big.lua, which wants an end of storage
# at 4 GiB; numbers that need a long of 64 bits; what is said of locales; how long rows of dots
# are, which is random; and the storage in use, which depends on the folder.
test_lua5.1() {
  cd _lua5.1-tests && sed -i "/dofile('main.lua')/d; /loadfile('big.lua')/,/f() == 'a'/d" all.lua &&
    sed -i 's/do; table/do table/' pm.lua && sed -i 's/io.popen, "ls"/io.popen, "echo"/' files.lua &&
    sed -i '/tonumber(.*\(-fFfa\|36) == -36\|42), 2)\|-fffff\)/d' math.lua &&
    LUA_PATH='?;./?.lua' LUA_INIT="package.path = '?;'..package.path" ../src/lua all.lua </dev/null 2>errors |
    sed -E 's/0x[0-9a-f]+|[0-9A-F]{16}/ADDRESS/g; s/[0-9.]+ ?(msec|sec|Kb|kb|K)/N \1/g; s/time: .*|test done.*//; s/(memory: )[0-9]+ /\1N /; /locale|^[[:cntrl:]]*$/d' &&
    sed -E 's/\.{2,}/.../g' errors
}

make_xz-utils() {
  ./configure --host=$triple --disable-nls --disable-shared CC="$CC -w" && make -j2 && make -j2 check TESTS=
}
test_xz-utils() {
  make -C tests check-TESTS >log.tests || { cat log.tests; return 1; }
  grep -aE '^(PASS|SKIP|FAIL|ERROR): ' log.tests
}

# Its compiler for the library of its own language runs while it is built: this system's does.
make_bc() {
  mkdir native && tar -xf "$tarballs/bc.tar" -C native --strip-components=1 &&
    (cd native && CC=gcc AR=ar RANLIB=ranlib && ./configure && make -C lib && make -C bc libmath.h) &&
    ./configure --host=$triple CC="$CC -w -Drandom=rand -Dsrandom=srand" && cp native/bc/libmath.h bc &&
    make -C lib && make -C bc -o libmath.h bc.exe && make -C dc && rm -r native
}
test_bc() {
  local source
  for source in Test/*.b; do ./bc/bc -l "$source" </dev/null || return 1; done
  ./bc/bc -l <<<'scale = 500; 4 * a(1); 2 ^ 4000; obase = 16; e(1)' && ./dc/dc -e '40 k 2 v p 7 300 ^ 11 13 | p 3 5 / f'
}

# CMake programs: what the tests print, without their times and order. Where $targets names some
# tests, these alone are built and run.
cmake_build() {
  local toolchain=$folder/prefix/lib/cmake/tarnlib/hosted.cmake
  [ "$CC" = "$hosted" ] || toolchain=$folder/plain.cmake
  tr -s ' \n' '|' <<<"${targets:-.*}" | sed 's/^/^(/; s/|$/)$/' >tests.wanted
  cmake -S . -B made -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_C_FLAGS=-w -DCMAKE_CXX_FLAGS=-w \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DBUILD_SHARED_LIBS=OFF \
    -DCMAKE_CROSSCOMPILING_EMULATOR= "$@" &&
    cmake --build made -j 2 ${targets:+--target $targets}
}
cmake_test() {
  ctest --test-dir made -R "$(cat tests.wanted)" -j 2 --timeout 120 >log.tests || { cat log.tests; return 1; }
  sed -nE 's/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: (\S+).*(Passed|Failed|Skipped|Not Run).*/\1 \2/p; /tests passed/p' log.tests | sort
}

make_cjson() { cmake_build -DENABLE_CJSON_UTILS=ON; }
test_cjson() { cmake_test; }

make_jansson() { cmake_build -DJANSSON_BUILD_DOCS=OFF; }
test_jansson() { cmake_test; }

make_tinyxml2() { cmake_build; }
test_tinyxml2() { ./made/xmltest | sed -E 's/[0-9.]+ milli-seconds/N milli-seconds/'; }

# Its DLLs share test cases and reporters, and catch each other's exceptions.
make_doctest() { cmake_build; }
test_doctest() { cmake_test; }

# GoogleTest is a package of its own in Debian. Left out: tests that compile for minutes, and
# assert-test, whose death tests take handles out of another process.
make_fmtlib() {
  local targets="args-test chrono-test color-test gtest-extra-test os-test ostream-test
    posix-mock-test printf-test ranges-test scan-test std-test"
  mkdir test/gtest && cat >test/gtest/CMakeLists.txt <<'END' && cmake_build
set(from /usr/src/googletest)
add_library(gtest STATIC ${from}/googletest/src/gtest-all.cc ${from}/googlemock/src/gmock-all.cc)
target_include_directories(gtest PUBLIC ${from}/googletest/include ${from}/googlemock/include
                           PRIVATE ${from}/googletest ${from}/googlemock)
END
}
test_fmtlib() { cmake_test; }

# Half of its tests, without those for which it fetches data.
make_nlohmann-json3() {
  local name targets=
  for name in allocator alt-string capacity class_parser comparison conversions deserialization \
    element_access1 hash iterators1 json_pointer merge_patch modifiers ordered_map serialization \
    to_chars udl user_defined_input wstring; do
    targets+="test-${name}_cpp11 "
  done
  cmake_build -DJSON_BuildTests=ON -DJSON_TestDataDirectory=.
}
test_nlohmann-json3() { cmake_test; }

# Some of Eigen's basic tests; each is compiled for half a minute.
make_eigen3() {
  local targets="basicstuff_1 linearstructure_1 array_cwise_1 product_small_1 determinant_1 inverse_1
    lu_1 cholesky_1 qr_1 eigensolver_selfadjoint_1 geo_transformations_1 stdvector_1"
  cmake_build -DBUILD_TESTING=ON
}
test_eigen3() { cmake_test; }

# SQLite's fuzzing corpus and benchmark check themselves; the shell has no tests without Tcl.
make_sqlite3() {
  local object options="-w -O1 -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_ENABLE_MEMSYS5 -DSQLITE_OSS_FUZZ -I. -Isrc -Iext/recover"
  make -f main.mk TOP=. BCC=gcc OPTS= NAWK=awk sqlite3.c shell.c && $CC $options -c sqlite3.c &&
    object=$(ls sqlite3.o*) && $CC $options -o sqlite3.exe shell.c "$object" &&
    $CC $options -o speedtest1.exe test/speedtest1.c "$object" &&
    $CC $options -o fuzzcheck.exe test/{fuzzcheck,ossfuzz,fuzzinvariants,vt02}.c ext/recover/{dbdata,sqlite3recover}.c "$object"
}
test_sqlite3() {
  local journal rows='with recursive n(i) as (select 1 union all select i+1 from n where i<200000)
    insert into t(b, c) select printf("row %d ä", i), i/7.0 from n;'
  for journal in delete truncate persist wal; do
    ./sqlite3 disk.db <<<"pragma journal_mode=$journal; create table if not exists t(a integer primary key, b text, c real);
      begin; $rows commit; create index if not exists tb on t(b); select count(*), sum(c), max(b) from t;
      begin; delete from t where a%3=0; update t set b=b||a where a%5=0; select count(*) from t; rollback;
      delete from t where a>1000; begin; $rows update t set c=1;" &&
      ./sqlite3 disk.db <<<'select count(*), sum(c), max(b) from t; pragma integrity_check; vacuum;' || return 1
  done
  ./sqlite3 disk.db .schema '.mode json' 'select count(*) n from t' .dump | cksum &&
    ./speedtest1 --size 5 --verify speed.db | sed -E 's/ *[0-9.]+s\r?$//' &&
    ./fuzzcheck --limit-mem 100M test/fuzzdata4.db | sed -E 's/in [0-9.]+ seconds//'
}

# The tests of its extras are linked with the engine as it comes: their makefiles would
# configure another one by Python 2.
make_duktape() {
  local extra
  make -f Makefile.cmdline CC="$CC -w" && $CC -w -std=c99 -O2 -Isrc -c src/duktape.c || return 1
  for extra in "${duktape_extras[@]}"; do
    $CC -w -std=c99 -Isrc -Iextras/$extra duktape.o extras/$extra/{duk_*.c,test.c} -o extras/$extra/test.exe || return 1
  done
}
duktape_extras=(print-alert console duk-v1-compat logging module-duktape module-node)
test_duktape() {
  local extra
  for extra in "${duktape_extras[@]}"; do
    (cd extras/$extra && sed -n $'s/^\t\\(\\.\\/test\\)/\\1/p' Makefile | sh -e 2>errors) || return 1
    sed -E 's/^20[0-9T:.-]+Z/TIME/' extras/$extra/errors
  done
  ./duk mandel.js
}

# Programs are called without the .exe and without $RUN: a script of that name runs the image.
make_runnable() {
  find . -type f -size +8k \( -perm -u+x -o -name '*.exe' \) | while read -r image; do
    [ "$(head -c 2 "$image")" = MZ ] || continue
    name=$(basename "$image" .exe) place=$(dirname "$image")
    mkdir -p "$place/image"
    [ "${name%.dll}" = "$name" ] || { cp "$image" "$place/image"; continue; }
    mv "$image" "$place/image/$name.exe"
    cp "$folder"/prefix/lib/tarnlib/*.DLL "$place/image"
    printf '#!/bin/sh\nexec "$RUN" "${0%%/*}/image/%s.exe" "$@"\n' "$name" >"$place/$name"
    chmod +x "$place/$name" && cp "$place/$name" "$place/$name.exe" && touch -r "$place/image/$name.exe" "$place/$name"*
  done
}

# build HOW: in ./here, where every run is, since tests name their folder; kept as ./HOW.
build() {
  target=$1
  rm -rf here && mkdir here && tar -xf "$tarballs/$program.tar" -C here --strip-components=1 &&
    (cd here && CC=${!1} && export CC && make_"$program") >"$1.log" 2>&1 && (cd here && make_runnable) &&
    mv here "$1" || { tail -n 15 "$1.log"; fail "$program does not build"; }
}
# run HOW TARGET OUTPUT
run() {
  rm -rf here && cp -a "$1" here &&
    (cd here && RUN=${!2} && export RUN && test_"$program") >"$3.new" 2>&1 &&
    tr -d '\r' <"$3.new" | sed -E 's#[^ "]*[/\\]image[/\\](\w+)\.exe#\1#g' >"$3.text" && mv "$3.text" "$3" ||
    { target=$2; tail -n 15 "$3.new"; fail "$program built by $1 fails"; }
}

mkdir -p "$tarballs/plain"
for program in "${wanted[@]}"; do
  mkdir "$folder/$program" && cd "$folder/$program" || exit 1
  # What the plain compiler's programs print stays the same while this does.
  key=$({ declare -f "make_$program" "test_$program"; declare -f run; grep "^$program " "$tarballs/../../scripts/real_programs.txt"
    $plain --version; } | sha256sum | cut -c 1-16)
  expected=$tarballs/plain/$program.$key
  [ -s "$expected" ] || [ -z "$wine" ] || { build plain && run plain wine "$expected"; } || continue
  build hosted || continue
  for target in tarnrun ${wine:+wine}; do
    run hosted $target "$PWD/$target.out" || continue
    [ -z "$wine" ] || diff -a "$expected" "$target.out" >diff || { head -n 10 diff; fail "$program prints other than plain"; }
  done
done
[ $failed = 1 ] || echo "${wanted[*]}: the same on both targets as by the plain compiler"
exit $failed
