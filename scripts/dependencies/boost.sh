# Boost's headers, which do not depend on the machine, in a folder that holds nothing else of it.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=libboost1.81-dev

build() {
  mkdir -p "$prefix/include" "$prefix/share/licenses"
  ln -s /usr/include/boost "$prefix/include/boost"
  cp /usr/share/doc/libboost1.81-dev/copyright "$prefix/share/licenses/Boost"
}
