# The shared runtime of the compiler, which is shipped beside the product, and the notices that go with it.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=g++-mingw-w64-i686-win32

build() {
  mkdir -p "$prefix/bin" "$prefix/share/licenses"
  local dll
  for dll in libgcc_s_dw2-1.dll libstdc++-6.dll libssp-0.dll; do
    cp "$(i686-w64-mingw32-g++-win32 -print-file-name=$dll)" "$prefix/bin/"
  done
  cp /usr/share/doc/gcc-mingw-w64-base/copyright "$prefix/share/licenses/GCC"
  cp /usr/share/doc/mingw-w64-common/copyright "$prefix/share/licenses/MinGW-w64"
}
