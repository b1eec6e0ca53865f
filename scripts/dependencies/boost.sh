# Boost's headers, which do not depend on the machine, in a folder that holds nothing else of it.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=libboost1.81-dev

build() {
  mkdir -p "$prefix/include" "$prefix/share/licenses"
  ln -s /usr/include/boost "$prefix/include/boost"
  # Of the distribution's list of every file's terms, the licence of the headers.
  awk 'BEGIN { RS = "" } /^License: BSL-1\.0\n/ { found = 1; print } END { exit !found }' \
    /usr/share/doc/libboost1.81-dev/copyright >"$prefix/share/licenses/Boost"
}
