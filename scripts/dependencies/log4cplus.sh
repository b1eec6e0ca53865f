# log4cplus, which the logger is measured beside, as a static library with narrow text. It needs std::mutex and
# therefore the compiler's posix thread model.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=log4cplus
version_package=liblog4cplus-dev

build() {
  cmake -S . -B binary -G Ninja -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER=i686-w64-mingw32-gcc-posix \
    -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++-posix -DCMAKE_RC_COMPILER=i686-w64-mingw32-windres \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DUNICODE=OFF -D_WIN32_WINNT=0x0601 \
    -DWITH_UNIT_TESTS=OFF -DLOG4CPLUS_BUILD_TESTING=OFF -DLOG4CPLUS_BUILD_LOGGINGSERVER=OFF \
    -DLOG4CPLUS_ENABLE_DECORATED_LIBRARY_NAME=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
  cmake --build binary
  cmake --install binary
}
