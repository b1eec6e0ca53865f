#pragma once

#include <stdexcept>
#include <string>

#include "foundation/Win32Handle.h"

namespace WindowsAgentCommon::test {

/// Runs a program to its end. path: the executable. arguments: as they stand on a command line.
/// Returns what it wrote to its standard output, with "exit code N" behind it unless that is 0.
inline std::string RunProgram(const std::wstring& path, const std::wstring& arguments) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE ends[2];
    if (!::CreatePipe(&ends[0], &ends[1], &inherited, 0)) throw std::runtime_error("no pipe");
    const detail::KernelHandle reader(ends[0]);
    detail::KernelHandle writer(ends[1]);
    ::SetHandleInformation(reader.Get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writer.Get();
    PROCESS_INFORMATION started = {};
    std::wstring commandLine = L"program " + arguments;
    if (!::CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &startup, &started))
        throw std::runtime_error("the program does not start");
    const detail::KernelHandle process(started.hProcess), thread(started.hThread);
    writer.Reset();

    std::string output;
    char part[4096];
    for (DWORD got = 0; ::ReadFile(reader.Get(), part, sizeof part, &got, nullptr) && got != 0;)
        output.append(part, got);
    DWORD code = 1;
    ::WaitForSingleObject(process.Get(), INFINITE);
    ::GetExitCodeProcess(process.Get(), &code);
    return code == 0 ? output : output + "exit code " + std::to_string(code);
}

}  // namespace WindowsAgentCommon::test
