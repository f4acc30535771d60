#!/usr/bin/env bash
# Fetches the sources of the C libraries that the Windows build compiles, for which Debian has no packages made for
# Windows, into build/windows_sources/NAME: Debian's source packages with its patches, of the release and the archive
# that this system is set up with, checked by the archive's signature; and ReadStat from a pinned Python package that
# carries it.
# usage: tools/windows_sources.sh, by tools/setup.sh test
set -euo pipefail
cd "$(dirname "$0")/.."
packages=(libxlsxwriter minizip expat freexl lz4 libzstd)
readstat_carrier='pyreadstat==1.3.7 --hash=sha256:c15cc9f58edfd96afb850f65de252c52f5466ff27ce44772d3389d3a0c11b5ca'
# What its package description is made with.
readstat_tools='setuptools==80.9.0
wheel==0.45.1
cython==3.1.4'

target=build/windows_sources
cmp -s "$0" "$target/.velmora-stamp" && exit 0
echo "setup: fetching the sources of the libraries for Windows"
rm -rf "$target"
mkdir -p "$target/apt/lists/partial" "$target/apt/cache/archives/partial"

# The archive's own folder for lists, since this system's need not have sources.
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
archives() {
  apt-get indextargets --format '$(REPO_URI)|$(RELEASE)|$(COMPONENT)|$(SIGNED_BY)' 'Created-By: Packages' 'Origin: Debian'
}
if [ -z "$(archives)" ]; then  # nothing was installed before, and the image has no lists
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
fi
archives | sort -u | while IFS='|' read -r uri suite component key; do
  [ "$component" = main ] || continue
  option=
  [ "${key#/}" = "$key" ] || option="[signed-by=$key] "
  echo "deb-src $option$uri $suite $component"
done >"$target/apt/sources.list"
[ -s "$target/apt/sources.list" ] || { echo "setup: apt knows no archive of Debian $release" >&2; exit 1; }
apt=(-q -q -o "Dir::Etc::sourcelist=$PWD/$target/apt/sources.list" -o Dir::Etc::sourceparts=-
  -o "Dir::State::lists=$PWD/$target/apt/lists" -o "Dir::Cache=$PWD/$target/apt/cache" -o APT::Sandbox::User=root)
apt-get "${apt[@]}" update
for package in "${packages[@]}"; do
  mkdir "$target/apt/$package"
  # Without the last security update where its archive does not have the sources.
  (cd "$target/apt/$package" && { apt-get "${apt[@]}" source "$package" || apt-get "${apt[@]}" source "$package/$release"; }) \
    >"$target/apt/log" 2>&1 || { cat "$target/apt/log" >&2; exit 1; }
  mv "$target/apt/$package/"*/ "$target/$package"
done

echo "$readstat_carrier" >"$target/apt/requirements.txt"
echo "$readstat_tools" >"$target/apt/constraints.txt"
PIP_CONSTRAINT=$PWD/$target/apt/constraints.txt build/venv/bin/pip download --quiet --disable-pip-version-check \
  --no-deps --no-binary pyreadstat --require-hashes --requirement "$target/apt/requirements.txt" --dest "$target/apt"
mkdir "$target/readstat"
tar -xzf "$target/apt/"pyreadstat-*.tar.gz -C "$target/readstat" --strip-components=1

rm -rf "$target/apt"
cp "$0" "$target/.velmora-stamp"
