# OpenSSL's libcrypto as a static library: digests and base64 only, so no sockets, engines or modules.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=openssl
version_package=libssl-dev

build() {
  # The distribution's patch for position independence emits directives that COFF does not have.
  patch -R -p1 <debian/patches/pic.patch
  ./Configure mingw --cross-compile-prefix=i686-w64-mingw32- --prefix=/openssl --openssldir=/openssl \
    no-shared no-tests no-engine no-async no-module no-dso no-sock no-ui-console -D_WIN32_WINNT=0x0501
  make build_generated
  make libcrypto.a
  mkdir -p "$prefix/lib" "$prefix/include" "$prefix/share/licenses"
  cp libcrypto.a "$prefix/lib/"
  cp -R include/openssl "$prefix/include/"
  cp LICENSE.txt "$prefix/share/licenses/OpenSSL"
}
