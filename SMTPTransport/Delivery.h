#pragma once

#include <boost/describe/enum.hpp>
#include <string>

namespace Orvex {

/// State of a message on its way to one destination. Only deferred ones are tried again.
enum class DeliveryState { deferred, accepted, refused, unknown };
BOOST_DESCRIBE_ENUM(DeliveryState, deferred, accepted, refused, unknown)

struct Delivery {
    DeliveryState state = DeliveryState::deferred;
    /// The server's answer, or the reason why there is none: one line of UTF-8. Empty before the first
    /// attempt.
    std::string answer;

    bool operator==(const Delivery&) const = default;
};

} // namespace Orvex
