#include "SMTPTransport/SMTPSendingService.h"

/// The symbol that the program looks up in this module. Returns a new service, which the caller deletes.
extern "C" [[gnu::visibility("default")]] Orvex::SendingService*
orvexMakeSMTPSendingService(const char* url, const char* outbox) {
    return new Orvex::SMTPSendingService(url, outbox);
}
