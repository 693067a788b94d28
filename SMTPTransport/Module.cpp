#include "SMTPTransport/SMTPSendingService.h"

/// What the program looks up in this module: a new service, to be deleted by the caller.
extern "C" [[gnu::visibility("default")]] Orvex::SendingService*
orvexMakeSMTPSendingService(const char* url, const char* outbox) {
    return new Orvex::SMTPSendingService(url, outbox);
}
