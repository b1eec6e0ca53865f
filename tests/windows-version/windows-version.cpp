// Prints the library's line on the Windows version, for runs under several versions.

#include "WindowsAgentCommon/SystemInfo.h"

#include <cstdio>
#include <string>

int main() {
    std::string line;
    WindowsAgentCommon::GetWindowsVersionString(line);
    std::puts(line.c_str());
}
