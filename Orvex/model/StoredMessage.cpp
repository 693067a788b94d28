#include "Orvex/model/StoredMessage.h"

#include "Orvex/model/MessageFields.h"
#include <boost/pfr/tuple_size.hpp>

namespace Orvex {

static_assert(std::tuple_size_v<decltype(messageFields)> == boost::pfr::tuple_size_v<StoredMessage> &&
                  areDistinct(messageFields),
              "messageFields has every member of StoredMessage, once");

std::string StoredMessage::description() const {
    std::string text;
    appendDescription(text);
    return text;
}

void StoredMessage::appendDescription(std::string& out) const {
    Description description(out);
    forEach(messageFields, [&](const auto& field) { description.field(field.name, this->*field.member); });
}

} // namespace Orvex
