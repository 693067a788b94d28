#pragma once

#include "Foundation/Description.h"
#include "Orvex/model/MessageUpdate.h"
#include "Orvex/model/StoredMessage.h"
#include <cstddef>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>

/// The fields of the records, each described once. Descriptions, statements, and the reading and writing of
/// rows are derived from these tables; static assertions check that they hold every member.
namespace Orvex {

/// A field of a message: its name in descriptions, its column in a store's table, and its member.
template <class Value>
struct MessageField {
    FieldName name;
    std::string_view column;
    Value StoredMessage::*member;
};
template <class Value>
MessageField(FieldName, std::string_view, Value StoredMessage::*) -> MessageField<Value>;

/// In the order of descriptions and parameters.
inline constexpr std::tuple messageFields{
    MessageField{"recordUUID", "record_uuid", &StoredMessage::recordUUID},
    MessageField{"voicemailID", "voicemail_id", &StoredMessage::voicemailID},
    MessageField{"conversationID", "conversation_id", &StoredMessage::conversationID},
    MessageField{"callUUID", "call_uuid", &StoredMessage::callUUID},
    MessageField{"type", "type", &StoredMessage::type},
    MessageField{"provider", "provider", &StoredMessage::provider},
    MessageField{"mailbox", "mailbox", &StoredMessage::mailbox},
    MessageField{"from", "sender", &StoredMessage::from},
    MessageField{"recipient", "recipient", &StoredMessage::recipient},
    MessageField{"created", "created", &StoredMessage::created},
    MessageField{"duration", "duration", &StoredMessage::duration},
    MessageField{"read", "read", &StoredMessage::read},
    MessageField{"sensitive", "sensitive", &StoredMessage::sensitive},
    MessageField{"RTT", "rtt", &StoredMessage::isRTT},
    MessageField{"transcription", "transcription", &StoredMessage::transcription},
    MessageField{"messageFile", "message_file", &StoredMessage::messageFile},
    MessageField{"thumbnail", "thumbnail", &StoredMessage::thumbnail},
    MessageField{"transcript", "transcript", &StoredMessage::transcriptURL},
    MessageField{"simID", "sim_id", &StoredMessage::simID},
    MessageField{"quality", "quality", &StoredMessage::quality},
};

/// Calls `use` with each field of a table in turn.
template <class... Fields, class Use>
constexpr void forEach(const std::tuple<Fields...>& fields, Use use) {
    std::apply([&use](const Fields&... field) { (use(field), ...); }, fields);
}

/// The field with this member.
template <class Value>
consteval MessageField<Value> fieldOf(Value StoredMessage::*member) {
    // A copy instead of a pointer: with sanitizers, g++ 12 cannot compare pointers with null at compile time.
    std::optional<MessageField<Value>> found;
    forEach(messageFields, [&](const auto& field) {
        if constexpr (std::is_same_v<decltype(field), const MessageField<Value>&>) {
            if (field.member == member) {
                found = field;
            }
        }
    });
    return found ? *found : throw "messageFields has no field with this member";
}

/// A change of a field: the member that holds the new value, and the field.
template <class Value, class Target>
struct UpdateField {
    std::optional<Value> MessageUpdate::*member;
    MessageField<Target> field;
};
template <class Value, class Target>
UpdateField(std::optional<Value> MessageUpdate::*, MessageField<Target>) -> UpdateField<Value, Target>;

/// All members but `recordUUID` and `undelete`, in the order of descriptions and parameters.
inline constexpr std::tuple updateFields{
    UpdateField{&MessageUpdate::callUUID, fieldOf(&StoredMessage::callUUID)},
    UpdateField{&MessageUpdate::conversationID, fieldOf(&StoredMessage::conversationID)},
    UpdateField{&MessageUpdate::from, fieldOf(&StoredMessage::from)},
    UpdateField{&MessageUpdate::provider, fieldOf(&StoredMessage::provider)},
    UpdateField{&MessageUpdate::read, fieldOf(&StoredMessage::read)},
    UpdateField{&MessageUpdate::duration, fieldOf(&StoredMessage::duration)},
    UpdateField{&MessageUpdate::mailbox, fieldOf(&StoredMessage::mailbox)},
    UpdateField{&MessageUpdate::recipient, fieldOf(&StoredMessage::recipient)},
    UpdateField{&MessageUpdate::transcription, fieldOf(&StoredMessage::transcription)},
    UpdateField{&MessageUpdate::isRTT, fieldOf(&StoredMessage::isRTT)},
    UpdateField{&MessageUpdate::transcriptURL, fieldOf(&StoredMessage::transcriptURL)},
    UpdateField{&MessageUpdate::simID, fieldOf(&StoredMessage::simID)},
};

/// True if no member is in the table twice.
template <class... Fields>
constexpr bool areDistinct(const std::tuple<Fields...>& fields) {
    std::size_t equalPairs = 0;
    forEach(fields, [&](const auto& one) {
        forEach(fields, [&](const auto& other) {
            if constexpr (std::is_same_v<decltype(one.member), decltype(other.member)>) {
                equalPairs += one.member == other.member ? 1 : 0;
            }
        });
    });
    return equalPairs == sizeof...(Fields);
}

} // namespace Orvex
