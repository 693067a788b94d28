#include "Foundation/Description.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include <algorithm>

namespace Orvex {

void Description::beginLine(std::string_view name) {
    if (!text_.empty()) {
        text_ += '\n';
    }
    text_ += "  ";
    text_ += name;
    text_ += ": ";
}

void Description::line(std::string_view name, std::string_view value) {
    beginLine(name);
    text_ += value;
}

void Description::field(std::string_view name, std::string_view text) {
    beginLine(name);
    appendQuoted(text_, text);
}

void Description::field(std::string_view name, double number) {
    line(name, shortestText(number));
}

void Description::field(std::string_view name, Seconds duration) {
    field(name, duration.count());
    text_ += " s";
}

void Description::nested(const Description& inner) {
    for (std::string_view rest = inner.text_; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        text_ += "\n  ";
        text_ += rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

} // namespace Orvex
