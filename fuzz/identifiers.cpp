#include "Foundation/ConnectionString.h"
#include "Foundation/FileURL.h"
#include "Foundation/LetterCase.h"
#include "Foundation/Number.h"
#include "Foundation/QuotedText.h"
#include "Foundation/UUID.h"
#include "Fuzzing.h"
#include <cstdint>
#include <optional>

namespace Orvex::Fuzzing {

namespace {

void tryUUID(std::string_view text) {
    if (const std::optional<UUID> uuid = UUID::parse(text)) {
        expect(lowerCased(uuid->text()) == lowerCased(text), "the text of a UUID is the parsed text");
        expect(UUID::parse(uuid->text()) == uuid, "the text of a UUID parses to that UUID");
    }
}

void expectCanonical(const FileURL& url) {
    expect(FileURL::parse(url.text()) == url, "the text of a URL parses to that URL");
    expect(url.path().starts_with('/') && url.path().find('\0') == std::string::npos,
           "the path of a URL is absolute and has no NUL");
    expect(isHarmlessLine(url.text()), "no character of a URL controls a terminal");
}

void tryURL(std::string_view text) {
    if (const std::optional<FileURL> url = FileURL::parse(text)) {
        expectCanonical(*url);
    }
    if (text.find('\0') == std::string_view::npos) {
        const FileURL url = FileURL::fromPath(text);
        expectCanonical(url);
        expect(FileURL::fromPath(url.path()) == url, "the path of a URL makes the same URL");
    }
}

void tryNumber(std::string_view text) {
    if (const auto number = parseNumber<double>(text)) {
        expect(parseNumber<double>(shortestText(*number)) == number, "a number's text parses to that number");
    }
    if (const auto number = parseNumber<std::int32_t>(text)) {
        expect(parseNumber<double>(text) == number, "an integer is a floating-point number, too");
    }
}

void tryConnectionString(std::string_view text) {
    const std::string shown = withoutSecrets(text);
    if (isConnectionString(text)) {
        expect(shown.ends_with("...") && shown.find_first_of("@= ") == std::string::npos,
               "only the scheme of a connection string is shown");
    } else {
        expect(shown == text, "any other text is shown as it is");
    }
}

} // namespace

/// The input is a word of the command line, or a value of a store or a transcript.
void tryInput(std::string_view input) {
    tryUUID(input);
    tryURL(input);
    tryConnectionString(input);
    tryNumber(input);
    const std::string quoted = inQuotes(input);
    expect(isHarmlessLine(quoted), "no character of a quoted text controls a terminal or is invisible");
}

} // namespace Orvex::Fuzzing
