#!/usr/bin/env bash
# Builds the foreign programs that rows of the table run, each as NAME.exe, hosted, and as
# NAME_native, from the tarballs of scripts/fetch_real_programs.sh, into
# build/bench-programs. What was compiled stays; both are linked again each time.
set -euo pipefail
cd "$(dirname "$0")/.."
tarballs=build/real-programs
made=build/bench-programs
for package in lua5.1 sqlite3; do
  [ -s $tarballs/$package.tar ] || { echo "bench: without the rows of $package, whose sources are not there" >&2; exit 0; }
done
for build in host windows; do
  cmake --install build/$build --prefix $made/prefix >/dev/null
done
hosted="$made/prefix/bin/tarncc --hosted"

# unpack PACKAGE: into $made/PACKAGE, once.
unpack() {
  [ ! -d $made/"$1" ] || return 0
  mkdir -p $made/"$1.new"
  tar -xf $tarballs/"$1".tar -C $made/"$1.new" --strip-components=1
  [ "$1" != sqlite3 ] || (cd $made/sqlite3.new && make -f main.mk TOP=. BCC=gcc OPTS= NAWK=awk sqlite3.c) >/dev/null
  mv $made/"$1.new" $made/"$1"
}

# build NAME FOLDER SOURCES...
build() {
  local name=$1 folder=$2 source object hosted_objects=() native_objects=()
  shift 2
  for source in "$@"; do
    object=$made/$name-$(basename "$source" .c)
    [ "$object.obj" -nt "$source" ] || $hosted -O2 -w -I"$folder" -c -o "$object.obj" "$source"
    [ "$object.o" -nt "$source" ] || cc -O2 -w -I"$folder" -c -o "$object.o" "$source"
    hosted_objects+=("$object.obj")
    native_objects+=("$object.o")
  done
  $hosted -o $made/"$name".exe "${hosted_objects[@]}"
  cc -o $made/"${name}_native" "${native_objects[@]}" -lm
}

unpack lua5.1
unpack sqlite3
mapfile -t lua < <(find $made/lua5.1/src -name '*.c' ! -name luac.c)
build lua $made/lua5.1/src "${lua[@]}"
build insert_rows $made/sqlite3 bench/insert_rows.c $made/sqlite3/sqlite3.c
