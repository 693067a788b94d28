#include "SMTPTransport/Netrc.h"

#include "Foundation/LetterCase.h"
#include <iomanip>
#include <limits>
#include <sstream>
#include <vector>

namespace Orvex {

namespace {

struct Entry {
    /// In lower case. None in a "default" entry, which is for all machines.
    std::optional<std::string> machine;
    std::optional<std::string> login{};
    std::optional<std::string> password{};
};

std::vector<Entry> entriesIn(const std::string& netrc) {
    std::istringstream in(netrc);
    std::vector<Entry> entries;
    std::string keyword;
    std::string value;
    while (in >> keyword) {
        if (keyword.starts_with('#')) {
            in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        } else if (keyword == "macdef") {
            // An empty line ends a macro.
            while (std::getline(in, value) && !value.empty() && value != "\r") {
            }
        } else if (keyword == "default") {
            entries.push_back({.machine = std::nullopt});
        } else if (keyword == "machine" && in >> value) {
            entries.push_back({.machine = lowerCased(value)});
        } else if (in >> std::quoted(value) && !entries.empty()) {
            if (keyword == "login") {
                entries.back().login = value;
            } else if (keyword == "password") {
                entries.back().password = value;
            }
        }
    }
    return entries;
}

} // namespace

std::optional<std::string> passwordInNetrc(const std::string& netrc, const std::string& machine,
                                           const std::string& user) {
    for (const Entry& entry : entriesIn(netrc)) {
        const bool isForMachine = !entry.machine || *entry.machine == lowerCased(machine);
        if (isForMachine && entry.login == user && entry.password) {
            return entry.password;
        }
    }
    return std::nullopt;
}

} // namespace Orvex
