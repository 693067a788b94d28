#include "Foundation/Async.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <exception>
#include <utility>

namespace Orvex {

void runToCompletion(Async<void> work) {
    constexpr int oneThread = 1;
    boost::asio::io_context context(oneThread);
    std::exception_ptr failure;
    boost::asio::co_spawn(context, std::move(work),
                          [&failure](std::exception_ptr thrown) { failure = thrown; });
    context.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace Orvex
