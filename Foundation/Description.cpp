#include "Foundation/Description.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"

namespace Orvex {

Description::Description(std::string& out, std::string_view heading) : out_(out), hasLine_(true) {
    out_ += heading;
}

void Description::beginLine(std::string_view name) {
    // Deeper than this, nothing is indented.
    constexpr std::string_view newLineAndSpaces = "\n                ";
    out_ +=
        hasLine_ ? newLineAndSpaces.substr(0, 1 + indentation_) : newLineAndSpaces.substr(1, indentation_);
    hasLine_ = true;
    out_ += name;
    out_ += ": ";
}

void Description::line(std::string_view name, std::string_view value) {
    beginLine(name);
    out_ += value;
}

void Description::field(std::string_view name, std::string_view text) {
    beginLine(name);
    appendQuoted(out_, text);
}

void Description::field(std::string_view name, const FileURL& url) {
    // Nothing in a URL needs an escape.
    beginLine(name);
    out_ += '"';
    out_ += url.text();
    out_ += '"';
}

void Description::field(std::string_view name, const UUID& uuid) {
    beginLine(name);
    uuid.appendText(out_);
}

void Description::field(std::string_view name, double number) {
    line(name, shortestText(number));
}

void Description::field(std::string_view name, Seconds duration) {
    field(name, duration.count());
    out_ += " s";
}

void Description::field(std::string_view name, Timestamp moment) {
    beginLine(name);
    appendTimestamp(out_, moment);
}

Description Description::nested(std::string_view heading) {
    out_ += '\n';
    out_.append(indentation_, ' ');
    Description inner(out_, heading);
    inner.indentation_ += indentation_;
    return inner;
}

} // namespace Orvex
