# ACE with wide characters in its interfaces (ACE_USES_WCHAR), as a DLL for Windows XP and later.
# shellcheck shell=bash disable=SC2034,SC2154
source_package=ace
version_package=libace-dev

build() {
  export ACE_ROOT=$PWD MPC_ROOT=$PWD/MPC
  cat >ace/config.h <<'CONFIG'
#define ACE_USES_WCHAR 1
#include "ace/config-win32.h"
CONFIG
  cat >include/makeinclude/platform_macros.GNU <<'MACROS'
uses_wchar = 1
debug = 0
inline = 1
CROSS_COMPILE = i686-w64-mingw32-
CROSS_COMPILE_SUFFIX = -win32
include $(ACE_ROOT)/include/makeinclude/platform_mingw32.GNU
CPPFLAGS += -D_WIN32_WINNT=0x0501 -ffile-prefix-map=$(ACE_ROOT)/=
MACROS
  (cd ace && perl ../bin/mwc.pl -type gnuace -noreldefs ace.mwc && make -f GNUmakefile.ACE)
  mkdir -p "$prefix/bin" "$prefix/lib" "$prefix/include" "$prefix/share/licenses"
  cp ace/libACE.dll "$prefix/bin/"
  cp ace/libACE.dll.a "$prefix/lib/"
  i686-w64-mingw32-strip --strip-debug "$prefix/bin/libACE.dll"
  find ace \( -name '*.h' -o -name '*.inl' -o -name '*.cpp' -o -name '*.tpp' \) -print0 |
    tar -c --null -T - | tar -x -C "$prefix/include"
  cp COPYING "$prefix/share/licenses/ACE"
}
