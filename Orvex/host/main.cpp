#include "Orvex/Version.h"
#include "Orvex/arguments/Tool.h"
#include "Orvex/commands/AllCommands.h"
#include "Orvex/host/Backends.h"
#include <optional>
#include <string_view>
#include <vector>

namespace {

using namespace Orvex;

struct HostOptions {
    Option<std::optional<StoreLocation>> store{
        std::nullopt,
        {derivedLong},
        "The path or file: URL of the message store, or the postgresql://... URI of a store on a server. "
        "Without it: orvex/messages.db in $XDG_DATA_HOME, or else in ~/.local/share."};

    Option<std::optional<ServiceLocation>> sendingService{
        std::nullopt,
        {derivedLong},
        "The smtp:// or smtps:// URL of the mail server that sends video messages. "
        "Without it, they wait in the outbox."};

    ORVEX_CODING_KEYS(HostOptions, store, sendingService)
};
static_assert(ParsableArguments<HostOptions>);

constexpr ManualText manual{
    .summary = "inspect and change a device's message store",
    .description =
        R"(A message store holds recorded video and audio messages and voicemails, with their
senders, recipients, mailboxes, transcripts and read state. {tool} lists, counts,
adds, changes and deletes them, sends video messages, and asks about transcription and
the cloud account.

The store is one file, by default orvex/messages.db in the folder that XDG_DATA_HOME names, or else in
~/.local/share. The first change creates it. Video messages that are sent go into the folder "outbox" beside
it.

Several machines can share a store in a database on a PostgreSQL server: {tool} --store
postgresql://host/database. This needs the package orvex-postgresql. Keep passwords in ~/.pgpass. Video messages
that are sent then go into the outbox of the default store.

A mail server can deliver them as e-mail: {tool} --sending-service smtp://ann@mail.example.com. This needs the
package orvex-smtp. The password is read from ~/.netrc. Telephone numbers need a gateway, as in
smtp://mail.example.com?phone-domain=sms.example.com.

An option for a list takes all words up to the next option, and may be repeated. A value that begins with "-" is
joined to its option by "=". Types, providers, mailboxes and the state of a transcription are given as
numbers.)",
    .examples = R"(Add a test message to a store of its own, and list it:

    {tool} --store test.db save-message -frm ann@example.com
    {tool} --store test.db get-all-messages

Let the shell complete commands, options and values:

    source <({tool} --generate-completion-script bash))",
};

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    HostOptions options;
    const Tool tool{
        .name = "orvex",
        .version = ORVEX_VERSION,
        .summary = "Inspects and changes a device's message store.",
        .subcommands = allCommands(),
        .options = boundProperties(options),
        .prepare = [&options] { chooseStoreAndService(*options.store, *options.sendingService); },
        .manual = manual,
        .released = ORVEX_RELEASED,
    };
    return static_cast<int>(run(tool, words));
}
