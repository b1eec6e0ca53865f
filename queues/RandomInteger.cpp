#include "WindowsAgentCommon/RandomInteger.h"

#include "WindowsAgentCommon/KORException.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

// The engine makes 1 of a seed that its modulus divides.
RandomInteger::RandomInteger(int minimum, int maximum)
    : engine_(std::make_shared<std::minstd_rand>(::GetTickCount())), minimum_(minimum), maximum_(maximum) {
    if (minimum > maximum)
        throw KORException(__FILE__, __FUNCTION__, __LINE__, "The smallest number lies above the largest");
}

int RandomInteger::Next() { return std::uniform_int_distribution<int>(minimum_, maximum_)(*engine_); }

}  // namespace WindowsAgentCommon
