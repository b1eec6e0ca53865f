#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// Splits a URI into its five components by the generic syntax of RFC 3986.
///
/// Text is UTF-16 of any content and length. Nothing is decoded and nothing is judged: percent escapes stay
/// as they are, every text has a path, and a drive letter reads as a scheme ("C:\x" has the scheme "C"). A
/// component that the text lacks is empty, without a difference from one that is there and empty.
///
/// Thread rule: any number of readers, or one that changes it. Throws only std::bad_alloc.
class CORVANE_API URIParser {
public:
    URIParser();                                  ///< Everything empty, not valid.
    explicit URIParser(const std::wstring& uri);  ///< As SetURI(uri).
    URIParser(const URIParser& other);
    URIParser& operator=(const URIParser& other);
    virtual ~URIParser();

    /// Takes uri apart. After std::bad_alloc the parser is not valid, and its components mean nothing.
    void SetURI(const std::wstring& uri);

    std::wstring GetURI() const;        ///< What SetURI was given.
    std::wstring GetScheme() const;     ///< Without its ":".
    std::wstring GetAuthority() const;  ///< Without the "//" in front.
    std::wstring GetPath() const;
    std::wstring GetQuery() const;     ///< Without the "?" in front.
    std::wstring GetFragment() const;  ///< Without the "#" in front.

    /// Whether the last SetURI could take its text apart. It always can, the empty text included, short of
    /// one that takes the expression engine beyond its bounds; then all components are empty.
    bool IsValid() const;

private:
    bool valid_;
    std::wstring uri_;
    std::wstring scheme_;
    std::wstring authority_;
    std::wstring path_;
    std::wstring query_;
    std::wstring fragment_;
};

}  // namespace WindowsAgentCommon
