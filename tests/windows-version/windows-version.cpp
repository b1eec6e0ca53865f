// Prints the library's line on the Windows version, for runs under several versions.

#include <cstdio>
#include <string>

#include "WindowsAgentCommon/SystemInfo.h"

int main() {
    std::string line;
    WindowsAgentCommon::GetWindowsVersionString(line);
    std::puts(line.c_str());
}
