#include "SMTPTransport/Netrc.h"

#include "Foundation/LetterCase.h"
#include <iomanip>
#include <limits>
#include <sstream>

namespace Orvex {

std::optional<std::string> passwordInNetrc(const std::string& netrc, const std::string& machine,
                                           const std::string& user) {
    std::istringstream in(netrc);
    bool isForMachine = false;
    bool isForUser = false;
    std::optional<std::string> password;
    std::string word;
    std::string value;
    while (in >> word) {
        if (word.starts_with('#')) {
            in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        } else if (word == "macdef") {
            // Up to an empty line.
            while (std::getline(in, value) && !value.empty() && value != "\r") {
            }
        } else if (word == "machine" || word == "default") {
            if (isForMachine && isForUser && password) {
                break;
            }
            isForMachine = word == "default" || (in >> value && lowerCased(value) == lowerCased(machine));
            isForUser = false;
            password.reset();
        } else if (in >> std::quoted(value)) {
            isForUser = word == "login" ? value == user : isForUser;
            password = word == "password" ? value : password;
        }
    }
    return isForMachine && isForUser ? password : std::nullopt;
}

} // namespace Orvex
