# fmt's headers, a peer in benchmarks and what spdlog formats with, in a folder that holds nothing else.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=libfmt-dev

build() {
  mkdir -p "$prefix/include"
  ln -s /usr/include/fmt "$prefix/include/fmt"
}
