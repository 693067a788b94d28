#include "Orvex/store/MessageStore.h"

namespace Orvex {

std::string MessageStore::description(AccountStatus status) const {
    switch (status) {
    case AccountStatus::signedIn:
        return "signed in";
    case AccountStatus::noAccount:
        return "no account";
    case AccountStatus::restricted:
        return "restricted";
    case AccountStatus::temporarilyUnavailable:
        return "temporarily unavailable";
    case AccountStatus::couldNotDetermine:
    case AccountStatus::waiting:
        break;
    }
    return "unknown";
}

} // namespace Orvex
