#include "Orvex/model/InputTypes.h"

namespace Orvex {

MessageType storeValue(InputMessageType input) {
    switch (input) {
    case InputMessageType::screened:
        return MessageType::screened;
    case InputMessageType::audio:
        return MessageType::audio;
    case InputMessageType::video:
        break;
    }
    return MessageType::video;
}

MessageProvider storeValue(InputProviderType input) {
    switch (input) {
    case InputProviderType::Telephony:
        return MessageProvider::Telephony;
    case InputProviderType::Zelvo:
        break;
    }
    return MessageProvider::Zelvo;
}

Mailbox storeValue(InputMailboxType input) {
    switch (input) {
    case InputMailboxType::inbox:
        return Mailbox::inbox;
    case InputMailboxType::junk:
        return Mailbox::junk;
    case InputMailboxType::trash:
        break;
    }
    return Mailbox::trash;
}

TranscriptionStatus storeValue(InputTranscriptionStatus input) {
    switch (input) {
    case InputTranscriptionStatus::notAvailable:
        return TranscriptionStatus::notAvailable;
    case InputTranscriptionStatus::pending:
        return TranscriptionStatus::pending;
    case InputTranscriptionStatus::transcriptionFailed:
        return TranscriptionStatus::transcriptionFailed;
    case InputTranscriptionStatus::inProgress:
        return TranscriptionStatus::inProgress;
    case InputTranscriptionStatus::transcriptionAvailable:
        break;
    }
    return TranscriptionStatus::transcriptionAvailable;
}

} // namespace Orvex
