#pragma once

#include "WindowsAgentCommon/CommandLine.h"
#include "WindowsAgentCommon/Encoding.h"
#include "tests/support/GuardedBuffer.h"

namespace WindowsAgentCommon::test {

/// Switches of every kind.
class SampleCommandLine : public CommandLine {
public:
    static constexpr const wchar_t* kNames[] = {L"i", L"u", L"f", L"o", L"z", L"v", L"\u00e9", L"long"};

    using CommandLine::AddExpectedParam;

    /// "failed", or each switch that was given with its values: " i[] f[a.txt][b.txt]". UTF-8.
    std::string Parse(int argc, wchar_t** argv) {
        Initialize(argc, argv);
        if (!IsInitialized()) return "failed";
        std::string text;
        for (const wchar_t* name : kNames) {
            if (IsParamPresent(name)) text += " " + ToUTF8(name);
            for (const std::wstring& value : GetParam(name)) text += "[" + ToUTF8(value) + "]";
        }
        return text;
    }

    /// The same for arguments with "|" between them. The last, and the list, which no null ends, lie against
    /// inaccessible pages.
    std::string Parse(const std::wstring& arguments) {
        std::wstring texts = L"p|" + arguments + L'|';
        for (wchar_t& unit : texts) unit = unit == L'|' ? L'\0' : unit;
        const GuardedBuffer copy{std::wstring_view(texts)};
        std::vector<wchar_t*> list;
        for (std::size_t at = 0; at < texts.size(); at = texts.find(L'\0', at) + 1)
            list.push_back(copy.Data<wchar_t>() + at);
        const GuardedBuffer pointers(list.data(), list.size() * sizeof(wchar_t*));
        return Parse(static_cast<int>(list.size()), pointers.Data<wchar_t*>());
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
