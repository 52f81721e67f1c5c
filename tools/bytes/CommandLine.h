#pragma once

// zarvo-inspect's command line on CLI11: each command (and each of h5's) is a CLI11
// subcommand with its own --help, and every error leaves through one place: one line on
// standard error, for a usage error a hint to the command's --help, and the exit code.

#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

namespace inspect {

/// A command line that makes no sense: one line and a hint to --help, exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The program's commands and the one way their outcome becomes an exit code.
class CommandLine {
public:
    /// What a command does once its arguments are read; throws for bad data, or UsageError.
    using Run = std::function<void()>;

    /// The program "zarvo-inspect": its description, the text after its usage and its --version line.
    CommandLine(const std::string& description, const std::string& footer, const std::string& version);

    /// A command under parent (nullptr: the program) carried out by run (none for one that
    /// only holds commands); details are printed after its usage.
    CLI::App* add(CLI::App* parent, const std::string& name, const std::string& description, const std::string& details,
                  Run run);

    /// A positional argument that command requires (or not), shown in its usage as name.
    template <class T>
    CLI::Option* argument(CLI::App* command, const std::string& name, T& target, const std::string& description,
                          bool required = true) {
        return command->add_option(name, target, description)->required(required)->type_name("");
    }

    /// An option taking a number (whole, or seconds as a double), never negative; what names
    /// it in the error ("--wait takes seconds, not -1").
    template <class T>
    CLI::Option* number(CLI::App* command, const std::string& option, T& target, const char* what,
                        const std::string& description) {
        const auto read = [&target, option, what](const std::string& text) {
            T value{};
            const char* end = text.data() + text.size();
            const auto result = std::from_chars(text.data(), end, value);
            if (text.empty() || result.ec != std::errc() || result.ptr != end || !(value >= 0))
                throw UsageError(option + " takes " + what + ", not " + text);
            target = value;
        };
        return command->add_option_function<std::string>(option, read, description);
    }

    /// Reads argv and runs the chosen command; returns the exit code: 0 done, 1 bad data,
    /// 2 usage error, each error one line on standard error.
    int run(int argc, char** argv);

private:
    /// The command the arguments chose so far (the program itself when none).
    CLI::App* chosen();
    /// The one line for a command line CLI11 refused (error) or whose words a command did not take.
    std::string problem(const CLI::ParseError* error);

    CLI::App app_;
    std::map<const CLI::App*, Run> runs_;
};

}  // namespace inspect
