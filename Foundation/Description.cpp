#include "Foundation/Description.h"

#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"

namespace Orvex {

Description::Description(std::string& out, std::string_view heading) : out_(out), hasLine_(true) {
    out_ += heading;
}

void Description::beginLine(const FieldName& name) {
    if (hasLine_) {
        out_ += '\n';
    }
    hasLine_ = true;
    const std::string_view text = name.indented(indentation_);
    // Copying a fixed size compiles to a few stores; the excess is cut off.
    out_.append(text.data(), FieldName::mostShown);
    out_.resize(out_.size() - (FieldName::mostShown - text.size()));
}

void Description::line(const FieldName& name, std::string_view value) {
    beginLine(name);
    out_ += value;
}

void Description::field(const FieldName& name, std::string_view text) {
    beginLine(name);
    appendQuoted(out_, text);
}

void Description::field(const FieldName& name, const FileURL& url) {
    // No character of a URL needs an escape.
    beginLine(name);
    out_ += '"';
    out_ += url.text();
    out_ += '"';
}

void Description::field(const FieldName& name, const UUID& uuid) {
    const auto text = uuid.characters();
    line(name, {text.data(), text.size()});
}

void Description::field(const FieldName& name, double number) {
    line(name, shortestText(number));
}

void Description::field(const FieldName& name, Seconds duration) {
    field(name, duration.count());
    out_ += " s";
}

void Description::field(const FieldName& name, Timestamp moment) {
    const auto text = timestampCharacters(moment);
    line(name, {text.data(), text.size()});
}

void Description::prose(const FieldName& name, const std::optional<std::string>& text) {
    if (text) {
        beginLine(name);
        appendQuotedProse(out_, *text);
    }
}

Description Description::nested(std::string_view heading) {
    out_ += '\n';
    out_.append(indentation_, ' ');
    Description inner(out_, heading);
    inner.indentation_ += indentation_;
    return inner;
}

} // namespace Orvex
