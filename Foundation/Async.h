#pragma once

#include <boost/asio/awaitable.hpp>

namespace Orvex {

/// Work that runs when it is awaited and then yields a `T` or an exception.
///
/// Parameters of a coroutine are taken by value, since they have to outlive the call. Inside a `co_await`
/// expression, name temporaries that own memory first: g++ 12 destroys some of them twice.
template <class T>
using Async = boost::asio::awaitable<T>;

/// Runs `work` on an event loop of its own until it has ended. An exception that leaves `work` is thrown
/// again here.
void runToCompletion(Async<void> work);

} // namespace Orvex
