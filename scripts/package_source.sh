# Sourced: the upstream tarballs of Debian's source packages, fetched from the
# machine's own package sources, which are read as source repositories in a folder of
# their own; nothing in the system's configuration changes.

# The configured package sources, as source repositories, into folder $1.
list_package_sources() {
  local file
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
    case $file in
      *.list) sed -n -E 's/^[[:space:]]*deb([[:space:]])/deb-src\1/p' "$file" ;;
    esac
  done 2>/dev/null >"$1/from_lists.list"
  for file in /etc/apt/sources.list.d/*.sources; do
    [ -r "$file" ] || continue
    sed -E 's/^Types:.*/Types: deb-src/' "$file" >"$1/$(basename "$file")"
  done
}

# fetch_package_source PACKAGE SHA256 FILE...: the upstream tarball of each PACKAGE as its
# FILE, if that is not there already. On failure the reason is in $fetch_failure.
fetch_package_source() {
  local package digest file scratch=
  has_digest() { echo "$digest  $1" | sha256sum --check --status 2>/dev/null; }
  own_apt() {
    apt-get -q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$scratch/sources" \
      -o Dir::State::lists="$scratch/lists" -o Dir::Cache="$scratch/cache" \
      -o APT::Sandbox::User=root -o Acquire::Languages=none \
      -o Acquire::http::Timeout=20 -o Acquire::https::Timeout=20 -o Acquire::Retries=1 "$@"
  }
  fetch_one() {
    local found
    (cd "$scratch" && own_apt source --download-only --tar-only "$package") >>"$scratch/log" 2>&1 ||
      { fetch_failure="the source package $package cannot be fetched"; return 1; }
    found=$(find "$scratch" -maxdepth 1 -name "${package}_*.orig.tar.*" ! -name '*.asc' | head -n 1)
    [ -n "$found" ] || { fetch_failure="the source package $package has no upstream tarball"; return 1; }
    has_digest "$found" || { fetch_failure="the tarball of $package is not the expected one"; return 1; }
    mkdir -p "$(dirname "$file")"
    mv "$found" "$file"
  }
  fetch_failure=
  while [ $# -gt 0 ] && [ -z "$fetch_failure" ]; do
    package=$1 digest=$2 file=$3
    shift 3
    has_digest "$file" && continue
    command -v apt-get >/dev/null || { fetch_failure="no apt-get"; break; }
    if [ -z "$scratch" ]; then
      scratch=$(mktemp -d)
      mkdir -p "$scratch"/{sources,lists/partial,cache/archives/partial}
      list_package_sources "$scratch/sources"
      own_apt update >"$scratch/log" 2>&1
    fi
    fetch_one
  done
  [ -z "$scratch" ] || rm -rf "$scratch"
  [ -z "$fetch_failure" ]
}
