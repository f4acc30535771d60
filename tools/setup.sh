#!/usr/bin/env bash
# Installs the dependencies of the build and the tests on Debian 12: Debian packages by name, the
# pinned npm packages of package-lock.json, DuckDB's C header from a pinned npm package, and for the
# tests the pinned Python packages of python/requirements.txt and the sources that
# tools/windows_sources.sh fetches. Skips what is installed already.
# usage: tools/setup.sh [build|test]      (as root, or with sudo)
set -euo pipefail
cd "$(dirname "$0")/.."
what=${1:-build}

build_packages=(ca-certificates g++ cmake ninja-build ccache make nodejs libreadstat-dev libboost-dev nlohmann-json3-dev
  libcli11-dev libutfcpp-dev libfast-float-dev libxlsxwriter-dev libminizip-dev libexpat1-dev libsqlite3-dev libpq-dev
  libmariadb-dev libcpp-httplib-dev libssl-dev zlib1g-dev libzstd-dev liblz4-dev libfreexl-dev
  python3)
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev binutils clang clang-tidy libclang-rt-14-dev chromium
  python3-openpyxl python3-venv googletest openjdk-17-jre-headless postgresql mariadb-server-core mariadb-client-core
  g++-mingw-w64-x86-64 mingw-w64-tools libz-mingw-w64-dev dpkg-dev patch xz-utils wine wine64 libwine-dev xvfb xauth)

packages=("${build_packages[@]}")
[ "$what" = test ] && packages+=("${test_packages[@]}")
missing=()
for package in "${packages[@]}"; do
  [ "$package" = nodejs ] && command -v node >/dev/null && continue
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
command -v npm >/dev/null || missing+=(npm)
if [ ${#missing[@]} -gt 0 ]; then
  as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: install these packages as root: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
  fi
  echo "setup: installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The pinned packages of the Python tests and of the wheel, in an environment of the project's own.
if [ "$what" = test ] && ! cmp -s python/requirements.txt build/venv/.velmora-stamp; then
  echo "setup: installing the pinned Python packages"
  rm -rf build/venv
  python3 -m venv build/venv
  build/venv/bin/pip install --quiet --disable-pip-version-check --requirement python/requirements.txt
  cp python/requirements.txt build/venv/.velmora-stamp
fi

# The libraries that the Windows build compiles.
if [ "$what" = test ]; then
  tools/windows_sources.sh
fi

stamp=node_modules/.velmora-stamp
if ! cmp -s package-lock.json "$stamp"; then
  echo "setup: installing the pinned npm packages"
  npm ci --ignore-scripts --no-audit --no-fund --loglevel=error
  cp package-lock.json "$stamp"
fi

# DuckDB's header: one file of the npm package that carries DuckDB's sources (its
# dependencies are not needed).
header=node_modules/.velmora-duckdb/duckdb.h
if [ ! -f "$header" ]; then
  version=1.4.4
  checksum=844249e61c9517454b8f776638ba6c5ab411d1bddde1892ab72826ea25178c72430e74aa83f5122b171be6abcdace84560f824b5ac94e9d5c2b603ea7269a9a2
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  (cd "$scratch" && npm pack "duckdb@$version" --silent --ignore-scripts >/dev/null)
  echo "$checksum  $scratch/duckdb-$version.tgz" | sha512sum --check --quiet
  tar -xzf "$scratch/duckdb-$version.tgz" -C "$scratch" package/src/duckdb/src/include/duckdb.h
  mkdir -p "$(dirname "$header")"
  mv "$scratch/package/src/duckdb/src/include/duckdb.h" "$header"
fi

# DuckDB's DLL for Windows: an optional package of package.json, which npm skips on another system,
# so it is downloaded separately; version and checksum are those of package-lock.json.
library=node_modules/.velmora-duckdb/windows/duckdb.dll
if [ "$what" = test ] && [ ! -f "$library" ]; then
  name=@duckdb/node-bindings-win32-x64
  entry() { node -p "require('./package-lock.json').packages['node_modules/$name'].$1"; }
  dll_scratch=$(mktemp -d)
  trap 'rm -rf "${scratch:-}" "$dll_scratch"' EXIT
  version=$(entry version)
  archive=$(cd "$dll_scratch" && npm pack "$name@$version" --silent --ignore-scripts)
  [ "sha512-$(node -p "require('crypto').createHash('sha512').update(require('fs').readFileSync('$dll_scratch/$archive')).digest('base64')")" \
    = "$(entry integrity)" ] || { echo "setup: $archive is not the pinned one" >&2; exit 1; }
  tar -xzf "$dll_scratch/$archive" -C "$dll_scratch" package/duckdb.dll package/LICENSE
  mkdir -p "$(dirname "$library")"
  mv "$dll_scratch/package/LICENSE" "$dll_scratch/package/duckdb.dll" "$(dirname "$library")"
fi
