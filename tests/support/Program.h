#pragma once

#include <stdexcept>
#include <string>

#include "foundation/Win32Handle.h"

namespace WindowsAgentCommon::test {

/// A program that runs beside the test, with its standard output in a pipe. It is killed when it takes longer
/// than a minute and a half, so that nothing here waits for ever, and when the object ends.
class Program {
public:
    /// path: the executable. arguments: as they stand on a command line.
    Program(const std::wstring& path, const std::wstring& arguments) {
        SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
        HANDLE ends[2];
        if (!::CreatePipe(&ends[0], &ends[1], &inherited, 0)) throw std::runtime_error("no pipe");
        reader_.Reset(ends[0]);
        const detail::KernelHandle writer(ends[1]);
        ::SetHandleInformation(reader_.Get(), HANDLE_FLAG_INHERIT, 0);

        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = writer.Get();
        PROCESS_INFORMATION started = {};
        std::wstring commandLine = L"program " + arguments;
        if (!::CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                              &startup, &started))
            throw std::runtime_error("the program does not start");
        const detail::KernelHandle thread(started.hThread);
        process_.Reset(started.hProcess);
        constexpr DWORD kLimit = 90'000;
        if (!::CreateTimerQueueTimer(&limit_, nullptr, Late, process_.Get(), kLimit, 0, WT_EXECUTEONLYONCE))
            throw std::runtime_error("no timer");
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        Kill();
        ::DeleteTimerQueueTimer(nullptr, limit_, INVALID_HANDLE_VALUE);
    }

    /// What it has written since; waits for that. Empty when it has ended.
    std::string Read() {
        char part[4096];
        DWORD got = 0;
        return ::ReadFile(reader_.Get(), part, sizeof part, &got, nullptr) ? std::string(part, got) : "";
    }

    void Kill() { ::TerminateProcess(process_.Get(), 1); }

    /// Its exit code; waits for its end.
    DWORD Wait() {
        DWORD code = 1;
        ::WaitForSingleObject(process_.Get(), INFINITE);
        ::GetExitCodeProcess(process_.Get(), &code);
        return code;
    }

private:
    static void CALLBACK Late(void* process, BOOLEAN) { ::TerminateProcess(process, WAIT_TIMEOUT); }

    detail::KernelHandle reader_, process_;
    HANDLE limit_ = nullptr;
};

/// Runs a program to its end. Returns what it wrote to its standard output, with "exit code N" behind it
/// unless that is 0.
inline std::string RunProgram(const std::wstring& path, const std::wstring& arguments) {
    Program program(path, arguments);
    std::string output;
    for (std::string part = program.Read(); !part.empty(); part = program.Read()) output += part;
    const DWORD code = program.Wait();
    return code == 0 ? output : output + "exit code " + std::to_string(code);
}

}  // namespace WindowsAgentCommon::test
