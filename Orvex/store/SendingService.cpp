#include "Orvex/store/SendingService.h"

#include <utility>

namespace Orvex {

namespace {

SendingService::Factory& chosenFactory() {
    static SendingService::Factory factory;
    return factory;
}

} // namespace

void SendingService::setFactory(Factory factory) {
    chosenFactory() = std::move(factory);
}

std::shared_ptr<SendingService> SendingService::instance() {
    if (!chosenFactory()) {
        throw SendingServiceError("cannot send a video message: the host has not chosen a sending service");
    }
    return chosenFactory()();
}

} // namespace Orvex
