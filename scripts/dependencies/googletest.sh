# GoogleTest and GoogleMock for the compiler's Win32 thread model, which has no std::mutex.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=
version_package=googletest

build() {
  cp -R /usr/src/googletest source
  # The one use of std::mutex that no option removes; tests here never wait on a Notification.
  cat >source/googletest/include/gtest/internal/custom/gtest-port.h <<'PORT'
#pragma once
#define GTEST_HAS_NOTIFICATION_ 1
namespace testing {
namespace internal {
class Notification {
public:
    void Notify() {}
    void WaitForNotification() {}
};
}  // namespace internal
}  // namespace testing
PORT
  # For each thread that checks something it starts another to see it end. Wine crashes now and then when a
  # process ends while such a thread is being born, so none is started; what an ended thread left stays.
  local threads=source/googletest/src/gtest-port.cc call='^ *StartWatcherThreadFor(current_thread);$'
  grep -q "$call" $threads
  sed -i "/$call/d" $threads
  cmake -S source -B binary -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/i686-w64-mingw32-win32.cmake" \
    -DCMAKE_BUILD_TYPE=Release -Dgtest_disable_pthreads=ON -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$PWD/source=googletest"
  cmake --build binary
  cmake --install binary
}
