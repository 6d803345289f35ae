#include "tools/kelctl/commands/TokenCommands.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <system_error>

#include <boost/json/object.hpp>

#include "platform/Paths.hpp"
#include "platform/PrivateFile.hpp"
#include "platform/Sha256.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

namespace {

/// As many as the digest has; nobody guesses them.
constexpr std::size_t tokenBytes = 32;

template <class Bytes>
std::string hexadecimal(const Bytes& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += {digits[byte / 16U], digits[byte % 16U]};
    }
    return text;
}

/// From the system's generator, which is made for keys on all our systems.
std::string newToken() {
    std::random_device generator;
    std::array<std::uint8_t, tokenBytes> bytes{};
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(generator());
    }
    return hexadecimal(bytes);
}

/// A line that somebody has written may have no end: ours must not become a part of it.
bool endsInALine(const std::filesystem::path& file) {
    std::ifstream stream(Platform::openablePath(file), std::ios::binary | std::ios::ate);
    if (!stream || stream.tellg() == std::streampos(0)) {
        return true;
    }
    stream.seekg(-1, std::ios::end);
    return stream.get() == '\n';
}

void append(const std::string& file, const std::string& line) {
    const auto path = Platform::toPath(Platform::fromUtf8(file));
    try {
        Platform::appendPrivately(path, (endsInALine(path) ? "" : "\n") + line + "\n");
    } catch (const std::system_error& error) {
        throw Failure(ExitCode::Refused, "the token file " + file + " cannot be written: " +
                                             Platform::toUtf8(Platform::errorText(error.code())));
    }
}

struct NewToken {
    std::string name;
    std::string role;
    std::string file;
};

ExitCode create(const CommandContext& context, const NewToken& wish) {
    // The server's lines end at white space, and lists show the name.
    if (wish.name.empty() || wish.name.find(' ') != std::string::npos ||
        printable(std::string_view(wish.name)) != wish.name) {
        throw Failure(ExitCode::WrongUsage,
                      "the name of a token has neither blanks nor control characters");
    }
    const std::string token = newToken();
    const std::string line =
        wish.role + " " + wish.name + " " + hexadecimal(Platform::sha256(token));
    if (!wish.file.empty()) {
        append(wish.file, line);
    }
    context.out().line("token for " + wish.name + ", told only now:\n" + token);
    if (wish.file.empty()) {
        context.out().line("line for the server's token file:\n" + line);
    }
    context.out().value({{"token", token}, {"line", line}});
    return ExitCode::Done;
}

} // namespace

void addTokenCommands(CLI::App& application, CommandContext& context) {
    CLI::App* const tokens = application.add_subcommand("token", "Look after tokens of clients");
    tokens->fallthrough();
    tokens->require_subcommand(1);
    const auto wish = std::make_shared<NewToken>();
    CLI::App* const command = addCommand(
        *tokens, context, "create", "Make a token for a client on another machine",
        "  kelctl token create laptop --role control --into /etc/kel_server/access.token\n"
        "  kelctl token create screen --role watch",
        [&context, wish] { return create(context, *wish); });
    command->add_option("name", wish->name, "Name that lists and traces show, without blanks")
        ->required();
    command->add_option("--role", wish->role, "watch sees everything, control starts and cancels")
        ->required()
        ->check(CLI::IsMember({"watch", "control"}));
    command->add_option("--into", wish->file, "The server's token file, which gets its line");
}

} // namespace Quarlen::Ctl
