#include "WindowsAgentCommon/URIParser.h"

#include <boost/regex.hpp>

#include <stdexcept>

namespace WindowsAgentCommon {

URIParser::URIParser() : valid_(false) {}

URIParser::URIParser(const std::wstring& uri) : valid_(false) { SetURI(uri); }

URIParser::URIParser(const URIParser& other) = default;

URIParser& URIParser::operator=(const URIParser& other) = default;

URIParser::~URIParser() = default;

void URIParser::SetURI(const std::wstring& uri) {
    static const boost::wregex syntax(L"^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\\?([^#]*))?(#(.*))?");
    valid_ = false;
    uri_ = uri;
    for (std::wstring* const part : {&scheme_, &authority_, &path_, &query_, &fragment_}) part->clear();
    try {
        boost::wsmatch groups;
        if (!boost::regex_search(uri_, groups, syntax)) return;
        scheme_ = groups.str(2);
        authority_ = groups.str(4);
        path_ = groups.str(5);
        query_ = groups.str(7);
        fragment_ = groups.str(9);
        valid_ = true;
    } catch (const std::runtime_error&) {  // beyond the engine's bounds
    }
}

std::wstring URIParser::GetURI() const { return uri_; }

std::wstring URIParser::GetScheme() const { return scheme_; }

std::wstring URIParser::GetAuthority() const { return authority_; }

std::wstring URIParser::GetPath() const { return path_; }

std::wstring URIParser::GetQuery() const { return query_; }

std::wstring URIParser::GetFragment() const { return fragment_; }

bool URIParser::IsValid() const { return valid_; }

}  // namespace WindowsAgentCommon
