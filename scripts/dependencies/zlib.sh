# zlib for MinGW as the distribution ships it; only the static library is used.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=libz-mingw-w64-dev

build() {
  mkdir -p "$prefix/lib" "$prefix/include" "$prefix/share/licenses"
  cp /usr/i686-w64-mingw32/lib/libz.a "$prefix/lib/"
  cp /usr/i686-w64-mingw32/include/{zlib,zconf}.h "$prefix/include/"
  cp /usr/share/doc/libz-mingw-w64-dev/copyright "$prefix/share/licenses/zlib"
}
