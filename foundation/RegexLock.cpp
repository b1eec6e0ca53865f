// The lock that Boost.Regex takes around its caches. Boost compiles it into a library of its own, which is
// not built for this compiler; all else of Boost.Regex is in its headers.

#include <boost/regex/pending/static_mutex.hpp>

#include "foundation/Win32.h"

namespace boost {

scoped_static_mutex_lock::scoped_static_mutex_lock(static_mutex& mut, bool lk)
    : m_mutex(mut), m_have_lock(false) {
    if (lk) lock();
}

scoped_static_mutex_lock::~scoped_static_mutex_lock() {
    if (m_have_lock) unlock();
}

void scoped_static_mutex_lock::lock() {
    // Held for a few instructions, so that others only give way.
    while (::InterlockedCompareExchange(reinterpret_cast<LONG volatile*>(&m_mutex.m_mutex), 1, 0) != 0)
        ::Sleep(0);
    m_have_lock = true;
}

void scoped_static_mutex_lock::unlock() {
    ::InterlockedExchange(reinterpret_cast<LONG volatile*>(&m_mutex.m_mutex), 0);
    m_have_lock = false;
}

}  // namespace boost
