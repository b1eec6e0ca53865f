#include "logging/LogConfig.h"

#include <boost/regex.hpp>

#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace CorvaneLogger::detail {
namespace {

using Text = std::string_view;

// The layout of a configuration file: a dot is any byte, line ends included.
struct Expressions {
    const boost::regex appender{R"x(<(appender\s.*?)>(.*?)</appender>)x"};
    const boost::regex priority{R"x(.*<priority\s+value\s?=\s?"(.*?)".*/>.*)x"};
    const boost::regex param{R"x(<(param\s.*?)/>)x"};
    const boost::regex name{R"x(.*\sname\s?=\s?"(.*?)".*)x"};
    const boost::regex value{R"x(.*\svalue\s?=\s?"(.*?)".*)x"};
    const boost::regex cls{R"x(.*\sclass\s?=\s?"(.*?)".*)x"};
    const boost::regex category{R"x(<(category\s.*?)>(.*?)</category>)x"};
    const boost::regex reference{R"x(<(appender-ref\s.*?)/>)x"};
    const boost::regex ref{R"x(.*\sref\s?=\s?"(.*?)".*)x"};
};

Text Captured(const boost::csub_match& part) {
    return Text(part.first, static_cast<std::size_t>(part.second - part.first));
}

std::optional<std::string> Capture(Text text, const boost::regex& expression) {
    boost::cmatch match;
    if (!boost::regex_search(text.data(), text.data() + text.size(), match, expression)) return std::nullopt;
    return match[1].str();
}

// A body up to its last "/>". Nothing behind can be part of a match, but the engine would look for an end
// there again from every beginning.
Text UpToLastEnd(Text body) {
    const std::size_t end = body.rfind("/>");
    return body.substr(0, end == Text::npos ? 0 : end + 2);
}

template <class Visit>
void ForEachEmptyElement(Text body, const boost::regex& expression, Visit visit) {
    const Text bounded = UpToLastEnd(body);
    boost::cregex_iterator match(bounded.data(), bounded.data() + bounded.size(), expression);
    for (const boost::cregex_iterator end; match != end; ++match) visit(Captured((*match)[1]));
}

std::size_t FindOpeningTag(Text text, const std::string& tag, std::size_t at) {
    constexpr char kSpace[] = " \t\n\v\f\r";
    while ((at = text.find(tag, at)) != Text::npos) {
        at += tag.size();
        if (at < text.size() && Text(kSpace).find(text[at]) != Text::npos) return at - tag.size();
    }
    return at;
}

// Elements of one name, from their expression. Where one begins and ends is found beforehand: at the first
// ">" after its beginning and the first closing tag after that, as the expression has it. Where either is
// missing it is missing for all that begin later, too, and the engine is spared finding out for each.
template <class Visit>
void ForEachElement(Text text, const std::string& name, const boost::regex& expression,
                    const ConfigReport& report, Visit visit) {
    const std::string opening = "<" + name, closing = "</" + name + ">";
    std::size_t at = 0;
    for (std::size_t count = 0; (at = FindOpeningTag(text, opening, at)) != Text::npos; ++count) {
        const std::size_t body = text.find('>', at);
        const std::size_t end = body == Text::npos ? body : text.find(closing, body + 1);
        if (end == Text::npos) return report("No end of element " + name);
        if (count == kConfigElementCount) return report("Too many elements " + name);
        const Text element = text.substr(at, end + closing.size() - at);
        at += element.size();
        if (element.size() > kConfigElementLimit) {
            report("Element " + name + " is too long");
            continue;
        }
        try {
            boost::cmatch match;
            if (boost::regex_search(element.data(), element.data() + element.size(), match, expression))
                visit(Captured(match[1]), Captured(match[2]));
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& failure) {
            report("Element " + name + " cannot be understood: " + failure.what());
        }
    }
}

class Parser {
public:
    explicit Parser(const ConfigReport& report) : report_(report) {}

    LogConfig Parse(Text text) {
        LogConfig config;
        ForEachElement(text, "appender", expressions_.appender, report_, [&](Text attributes, Text body) {
            LogConfig::Appender appender;
            appender.name = NameOf(attributes, "appender");
            if (appender.name.empty()) return;
            appender.cls = Capture(attributes, expressions_.cls).value_or("");
            if (const auto level = Priority(body)) appender.params["Level"] = *level;
            ForEachEmptyElement(body, expressions_.param, [&](Text param) {
                const std::string name = NameOf(param, "param");
                const auto value = Capture(param, expressions_.value);
                if (!name.empty() && value)
                    appender.params[name] = *value;
                else if (!name.empty())
                    report_("Element param " + name + " has no value");
            });
            config.appenders.push_back(std::move(appender));
        });
        ForEachElement(text, "category", expressions_.category, report_, [&](Text attributes, Text body) {
            LogConfig::Category category;
            category.name = NameOf(attributes, "category");
            if (category.name.empty()) return;
            category.level = Priority(body).value_or("INFO");
            ForEachEmptyElement(body, expressions_.reference, [&](Text reference) {
                category.references.push_back(Capture(reference, expressions_.ref).value_or(""));
            });
            config.categories.push_back(std::move(category));
        });
        return config;
    }

private:
    std::string NameOf(Text attributes, const char* element) const {
        std::string name = Capture(attributes, expressions_.name).value_or("");
        if (name.empty()) report_("Element " + std::string(element) + " has no name");
        return name;
    }

    std::optional<std::string> Priority(Text body) const {
        return Capture(UpToLastEnd(body), expressions_.priority);
    }

    const Expressions expressions_;
    const ConfigReport& report_;
};

}  // namespace

LogConfig ParseLogConfig(const std::string& text, const ConfigReport& report) {
    return Parser(report).Parse(text);
}

}  // namespace CorvaneLogger::detail
