#include "Orvex/model/MessageUpdate.h"

#include "Orvex/model/MessageFields.h"
#include <boost/pfr/tuple_size.hpp>

namespace Orvex {

static_assert(std::tuple_size_v<decltype(updateFields)> + 2 == boost::pfr::tuple_size_v<MessageUpdate> &&
                  areDistinct(updateFields),
              "updateFields has every member of MessageUpdate but recordUUID and undelete, once");

void MessageUpdate::applyTo(StoredMessage& message) const {
    forEach(updateFields, [&](const auto& change) {
        if (const auto& value = this->*change.member) {
            message.*change.field.member = *value;
        }
    });
    if (undelete && message.mailbox == Mailbox::trash) {
        message.mailbox = Mailbox::inbox;
    }
}

std::string MessageUpdate::description() const {
    std::string text;
    Description description(text);
    description.field("recordUUID", recordUUID);
    forEach(updateFields,
            [&](const auto& change) { description.field(change.field.name, this->*change.member); });
    description.field("undelete", undelete);
    return text;
}

} // namespace Orvex
