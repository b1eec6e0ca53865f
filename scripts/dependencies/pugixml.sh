# pugixml, the sample agent's reader of XML, as a static library with narrow (UTF-8) text.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=pugixml
version_package=libpugixml-dev

build() {
  # No XPath and no exceptions: neither is used, and parsing reports through its result.
  cmake -S . -B binary -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/i686-w64-mingw32-win32.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DPUGIXML_NO_XPATH=ON -DPUGIXML_NO_EXCEPTIONS=ON \
    -DCMAKE_CXX_FLAGS="-D_WIN32_WINNT=0x0501 -ffile-prefix-map=$PWD=pugixml" -DCMAKE_INSTALL_PREFIX="$prefix"
  cmake --build binary
  cmake --install binary
  mkdir -p "$prefix/share/licenses"
  cp LICENSE.md "$prefix/share/licenses/pugixml"
}
