#pragma once

#include <ace/SString.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CorvaneExport.h"

ACE_BEGIN_VERSIONED_NAMESPACE_DECL
class ACE_Get_Opt;
ACE_END_VERSIONED_NAMESPACE_DECL

namespace WindowsAgentCommon {

/// A program's switches. A program derives from this class, names its short switches in GetOptionString(),
/// declares all of them in OnInitialize(), calls Initialize() once and then asks.
///
///     class Switches : public CommandLine {
///     protected:
///         ACE_String_Base<wchar_t> GetOptionString() override { return L":iuf:"; }
///         void OnInitialize(int, wchar_t** const) override {
///             AddExpectedParam(L"i", L"install", false, false);
///             AddExpectedParam(L"f", L"file", false, true);
///         }
///     };
///
/// What is accepted:
/// - "-i", "-fVALUE", "-f VALUE", and switches without values in one argument, "-iu". The value of a switch
///   that needs one is whatever follows, even if it looks like a switch.
/// - "--file VALUE", "--file=VALUE", and any beginning of a long name that fits one long name only. An
///   optional value is given as "--name=VALUE" only. A value given to a switch without values is dropped.
/// - The first argument that is no switch ends the switches ("-" and "" are none), as does "--". What follows
///   is not looked at.
///
/// All texts are UTF-16 and compared as they are, with case. A parameter's name has one character, its short
/// switch; a longer name can be declared but is never found, deliberately.
///
/// ACE's headers wrap a program's wmain to start and end ACE around it: it must have both parameters and
/// return explicitly. This class works in programs that do not start ACE, too.
///
/// Thread rule: one thread at a time. Nothing blocks. Besides what is stated, the functions throw only
/// std::bad_alloc. Every switch that is found costs under 100 bytes beyond its value.
///
/// A copy has the tables of its own and shares the parser, which keeps pointers to the arguments: those must
/// last until the last call of Initialize() or Verify() of any copy.
class CORVANE_API CommandLine {
protected:
    /// The short switches in getopt's form: ":" first (so that a missing value is told from an unknown
    /// switch), then each letter, followed by ":" where it needs a value and by "::" where it may have one in
    /// the same argument. The base gives ":iu", and declares neither. "W;" lets "-W name" stand for "--name".
    virtual ACE_String_Base<wchar_t> GetOptionString();

    /// Where a derived class declares its parameters; called by Initialize() before the arguments are
    /// looked at, with its arguments. The base does nothing.
    virtual void OnInitialize(int argc, wchar_t** const argv);

    /// Declares a parameter.
    /// name: one character; a second declaration of a name is ignored, except for its long name, which
    /// becomes another name of the switch. longName: without dashes; empty for a short switch only.
    /// takesValue: whether the value is kept; it is empty where none was given. valueOptional: the long
    /// switch may stand without its value; of no meaning unless takesValue.
    /// The option string rules the short switch: a long name whose value rule differs from it is not accepted
    /// on the command line, and a letter or digit that it lacks is added with the long name's rule. A
    /// parameter named "?" is found for each unknown switch, too.
    /// Throws CommandLineException, line 100, after a successful Initialize(), and when a long name is
    /// declared before Initialize(); then nothing is declared.
    virtual void AddExpectedParam(std::wstring name, const std::wstring& longName, bool valueOptional,
                                  bool takesValue);

public:
    /// Nothing declared, nothing found, not initialized.
    CommandLine();
    CommandLine(const CommandLine& other);             ///< Its own tables, other's parser.
    CommandLine& operator=(const CommandLine& other);  ///< Its own tables, other's parser.
    virtual ~CommandLine();

    /// Makes a parser, calls OnInitialize() and then Verify(), whose result becomes that of IsInitialized().
    /// argc: number of arguments, the program's name, which is skipped, among them. argv: the arguments, each
    /// terminated; null counts as none, and a null argument ends them. Neither is changed.
    /// Called again, it parses the new arguments and adds to what was declared and found; after a success,
    /// AddExpectedParam() throws in it. What OnInitialize() throws passes through.
    virtual void Initialize(int argc, wchar_t** const argv);

    /// Looks at the arguments up to their end, or to the first switch that is unknown, not declared or
    /// without the value it needs; keeps what it found till then. Initialize() calls it; a derived class may
    /// check more.
    /// Returns whether it got to the end; true without another look after that, false before Initialize().
    virtual bool Verify();

    /// Whether Initialize() has succeeded.
    bool IsInitialized() const;

    /// Whether the switch was given at least once.
    /// Throws CommandLineException, line 112, unless IsInitialized().
    bool IsParamPresent(const std::wstring& name) const;

    /// The switch's values in the order given, one for each time, empty for a switch without values. None
    /// when it was not given.
    /// Throws CommandLineException, line 121, unless IsInitialized().
    virtual std::vector<std::wstring> GetParam(const std::wstring& name);

private:
    struct ArgOptions {
        bool valueOptional;
        bool takesValue;
        std::wstring name;
        std::wstring longName;
    };

    bool initialized_;
    std::map<std::wstring, std::shared_ptr<ArgOptions>> expected_;
    std::multimap<std::wstring, std::wstring> found_;
    std::shared_ptr<ACE_Get_Opt> parser_;
};

}  // namespace WindowsAgentCommon
