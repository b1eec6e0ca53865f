#pragma once

#include "WindowsAgentCommon/CommandLine.h"
#include "WindowsAgentCommon/Encoding.h"

namespace WindowsAgentCommon::test {

/// Switches of every kind.
class SampleCommandLine : public CommandLine {
public:
    using CommandLine::AddExpectedParam;

    /// "failed", or each switch that was given with its values: " i[] f[a.txt][b.txt]". UTF-8.
    std::string Parse(int argc, wchar_t** argv) {
        Initialize(argc, argv);
        std::string text = IsInitialized() ? "" : "failed";
        for (const wchar_t* name : {L"i", L"u", L"f", L"o", L"z", L"v", L"\u00e9", L"long"}) {
            if (!IsInitialized() || !IsParamPresent(name)) continue;
            text += " " + ToUTF8(name);
            for (const std::wstring& value : GetParam(name)) text += "[" + ToUTF8(value) + "]";
        }
        return text;
    }

protected:
    ACE_String_Base<wchar_t> GetOptionString() override { return L":iuf:o::zv:xW;"; }
    void OnInitialize(int, wchar_t** const) override {
        AddExpectedParam(L"i", L"install", false, false);
        AddExpectedParam(L"i", L"setup", false, false);  // one more name
        AddExpectedParam(L"u", L"", false, false);
        AddExpectedParam(L"f", L"file", false, true);
        AddExpectedParam(L"o", L"out", true, true);
        AddExpectedParam(L"z", L"", false, true);     // the option string gives it no value
        AddExpectedParam(L"v", L"void", true, true);  // against the option string, which needs the value
        AddExpectedParam(L"\u00e9", L"\u00e9tat", false, true);
        AddExpectedParam(L"long", L"longer", false, false);  // never found
        AddExpectedParam(L":", L"", false, false);           // neither, also for a missing value
    }
};

}  // namespace WindowsAgentCommon::test
