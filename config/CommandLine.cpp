#include "WindowsAgentCommon/CommandLine.h"

#include "WindowsAgentCommon/KORException.h"

#include <ace/Get_Opt.h>

#include <utility>

namespace WindowsAgentCommon {
namespace {

// The lines are part of the interface: they tell the cases apart.
[[noreturn]] void Refuse(const char* function, int line) {
    throw CommandLineException("CommandLine", function, line);
}

// ACE's parser believes its count and, for "-W" at the end, looks one argument further: it gets a list that
// ends at the first null and has one more behind it, which no switch can be named like.
std::vector<wchar_t*> BoundedArguments(int argc, wchar_t** argv) {
    static wchar_t beyond[] = L"\x01";
    std::vector<wchar_t*> arguments;
    for (int i = 0; argv != nullptr && i < argc && argv[i] != nullptr; ++i) arguments.push_back(argv[i]);
    arguments.push_back(beyond);
    return arguments;
}

struct Parsing {
    Parsing(int argc, wchar_t** argv, const ACE_String_Base<wchar_t>& optionString)
        : arguments(BoundedArguments(argc, argv)),
          options(static_cast<int>(arguments.size() - 1), arguments.data(), optionString.c_str(), 1, 0,
                  ACE_Get_Opt::REQUIRE_ORDER, 0) {}

    std::vector<wchar_t*> arguments;
    ACE_Get_Opt options;
};

}  // namespace

CommandLine::CommandLine() : initialized_(false) {}
CommandLine::CommandLine(const CommandLine&) = default;
CommandLine& CommandLine::operator=(const CommandLine&) = default;
CommandLine::~CommandLine() = default;

ACE_String_Base<wchar_t> CommandLine::GetOptionString() { return L":iu"; }

void CommandLine::OnInitialize(int, wchar_t** const) {}

void CommandLine::AddExpectedParam(std::wstring name, const std::wstring& longName, bool valueOptional,
                                   bool takesValue) {
    if (initialized_ || (!longName.empty() && parser_ == nullptr))
        Refuse("WindowsAgentCommon::CommandLine::AddExpectedParam", 100);
    const wchar_t letter = name.c_str()[0];
    auto options = std::make_shared<ArgOptions>(ArgOptions{valueOptional, takesValue, name, longName});
    expected_.emplace(std::move(name), std::move(options));
    if (longName.empty()) return;

    ACE_Get_Opt::OPTION_ARG_MODE mode = ACE_Get_Opt::NO_ARG;
    if (takesValue) mode = valueOptional ? ACE_Get_Opt::ARG_OPTIONAL : ACE_Get_Opt::ARG_REQUIRED;
    parser_->long_option(longName.c_str(), letter, mode);
}

void CommandLine::Initialize(int argc, wchar_t** const argv) {
    const auto parsing = std::make_shared<Parsing>(argc, argv, GetOptionString());
    parser_ = std::shared_ptr<ACE_Get_Opt>(parsing, &parsing->options);
    OnInitialize(argc, argv);
    initialized_ = Verify();
}

bool CommandLine::Verify() {
    if (parser_ == nullptr) return false;
    for (int letter = (*parser_)(); letter != EOF; letter = (*parser_)()) {
        const std::wstring name(1, static_cast<wchar_t>(letter));
        const auto expected = expected_.find(name);
        if (letter == L':' || expected == expected_.end()) return false;
        const wchar_t* value = expected->second->takesValue ? parser_->opt_arg() : nullptr;
        found_.emplace(name, value != nullptr ? value : L"");
    }
    // Asked once more, ACE's parser would go on within the argument that ended the switches.
    parser_->argv_ = nullptr;
    return true;
}

bool CommandLine::IsInitialized() const { return initialized_; }

bool CommandLine::IsParamPresent(const std::wstring& name) const {
    if (!initialized_) Refuse("WindowsAgentCommon::CommandLine::IsParamPresent", 112);
    return found_.count(name) != 0;
}

std::vector<std::wstring> CommandLine::GetParam(const std::wstring& name) {
    if (!initialized_) Refuse("WindowsAgentCommon::CommandLine::GetParam", 121);
    std::vector<std::wstring> values;
    const auto range = found_.equal_range(name);
    for (auto entry = range.first; entry != range.second; ++entry) values.push_back(entry->second);
    return values;
}

}  // namespace WindowsAgentCommon
