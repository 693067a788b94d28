// A tool that runs its command on an event loop of its own, here one of Boost.Asio:
//   own-loop get-total-count
// The store waits for a device, which is served by the same loop.

#include "Foundation/Async.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/GetTotalCount.h"
#include "Orvex/store/MessageStoreClient.h"
#include "own-host/MemoryStore.h"
#include <boost/asio.hpp>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

using namespace Orvex;
using namespace std::chrono_literals;
namespace asio = boost::asio;
using std::chrono::steady_clock;

class AsioLoop final : public EventLoop {
  public:
    explicit AsioLoop(asio::io_context& context) : context_(context) {}

    std::shared_ptr<void> wait(int descriptor, Event event, TimePoint deadline,
                               std::function<void(bool isReady)> resume) override {
        struct Wait {
            Wait(asio::io_context& context, TimePoint end) : descriptor(context), timer(context, end) {}
            // The caller closes the descriptor.
            ~Wait() { descriptor.release(); }
            asio::posix::stream_descriptor descriptor;
            asio::steady_timer timer;
        };
        const auto wait = std::make_shared<Wait>(context_, deadline);
        // The first handler destroys the wait, so the second one does nothing.
        const auto end = [resume, weak = std::weak_ptr<Wait>(wait)](bool isReady) {
            return [=](const boost::system::error_code&) {
                if (!weak.expired()) {
                    resume(isReady);
                }
            };
        };
        if (descriptor >= 0) {
            wait->descriptor.assign(descriptor);
            wait->descriptor.async_wait(event == Event::readable ? wait->descriptor.wait_read
                                                                 : wait->descriptor.wait_write,
                                        end(true));
        }
        wait->timer.async_wait(end(false));
        return wait;
    }

  private:
    asio::io_context& context_;
};

/// Asks a device for the number of its messages.
class DeviceStore final : public MyTool::MemoryStore {
  public:
    explicit DeviceStore(int device) : device_(device) {}

    Async<std::int64_t> messageCount() override {
        const bool hasAnswered =
            co_await waitUntilReady(device_, EventLoop::Event::readable, steady_clock::now() + 5s);
        std::int8_t answer = 0;
        if (!hasAnswered || read(device_, &answer, 1) != 1) {
            throw MessageStoreError("cannot count the messages: the device does not answer");
        }
        co_return answer;
    }

  private:
    int device_;
};

} // namespace

int main(int argc, char* argv[]) try {
    asio::io_context context;
    asio::local::stream_protocol::socket device(context);
    asio::local::stream_protocol::socket client(context);
    asio::local::connect_pair(device, client);
    const int descriptor = client.release();
    asio::steady_timer timer(context, 50ms);
    timer.async_wait([&](const boost::system::error_code&) {
        const std::int8_t count = 7;
        device.send(asio::buffer(&count, 1));
    });

    MessageStoreClient::setStoreFactory([&] { return std::make_shared<DeviceStore>(descriptor); });
    const Tool tool{
        .name = "own-loop",
        .version = "1.0",
        .summary = "Counts the messages of a device.",
        .subcommands = subcommandTypes<GetTotalCount>(),
        .runToCompletion =
            [&](Async<void> work) {
                AsioLoop loop(context);
                work.start(loop);
                while (!work.isDone() && context.run_one() > 0) {
                }
                work.result();
            },
    };
    const std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(run(tool, words));
} catch (const std::exception& error) {
    std::fprintf(stderr, "own-loop: %s\n", error.what());
    return 1;
}
