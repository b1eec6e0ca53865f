# spdlog's headers, which the logger is measured beside, in a folder that holds nothing else of the machine's.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=libspdlog-dev

build() {
  mkdir -p "$prefix/include"
  ln -s /usr/include/spdlog "$prefix/include/spdlog"
}
