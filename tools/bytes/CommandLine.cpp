#include "tools/bytes/CommandLine.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <new>
#include <vector>

#include <opencv2/core.hpp>

#include "valuefault/Exception.h"

namespace inspect {

namespace {

// "h5 print" for that command, "zarvo-inspect h5 print" with the program.
std::string nameOf(const CLI::App& command, bool withProgram) {
    std::string name;
    for (const CLI::App* at = &command; at != nullptr; at = at->get_parent())
        if (at->get_parent() != nullptr || withProgram) name = at->get_name() + (name.empty() ? "" : " " + name);
    return name;
}

// The positional arguments as the usage shows them: "ENDPOINT FILE.h5 [TOPIC...]".
std::string argumentsOf(const CLI::App& command) {
    std::string text;
    for (const CLI::Option* option : command.get_options([](const CLI::Option* o) { return o->get_positional(); })) {
        const std::string word = option->get_name(true) + (option->get_expected_max() > 1 ? "..." : "");
        text += (text.empty() ? "" : " ") + (option->get_required() ? word : "[" + word + "]");
    }
    return text;
}

// What a command takes: "read takes NAME [FILE]", "h5 takes 'list FILE', 'summary FILE' or 'print FILE PATH'".
std::string takes(CLI::App& command) {
    const std::vector<CLI::App*> subcommands =
        command.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
    const std::string arguments = argumentsOf(command);
    if (subcommands.empty())
        return nameOf(command, false) + (arguments.empty() ? " takes no arguments" : " takes " + arguments);
    std::string text = nameOf(command, false) + " takes ";
    for (size_t i = 0; i < subcommands.size(); ++i) {
        if (i > 0) text += i + 1 == subcommands.size() ? " or " : ", ";
        text += "'" + subcommands[i]->get_name() + " " + argumentsOf(*subcommands[i]) + "'";
    }
    return text;
}

// A word that CLI11 took for an option: "-x", "--name", but not a negative number.
bool isOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && !std::isdigit(static_cast<unsigned char>(word[1]));
}

// One line, safe for a terminal: OpenCV's texts span lines and name its sources, so
// only its own short description is kept.
std::string oneLine(const std::exception& error) {
    const auto* opencv = dynamic_cast<const cv::Exception*>(&error);
    std::string text =
        opencv != nullptr ? "OpenCV refused: " + opencv->err + " (in " + opencv->func + ")" : error.what();
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return zarvo::Exception::printable(text);
}

}  // namespace

CommandLine::CommandLine(const std::string& description, const std::string& footer, const std::string& version)
    : app_(description, "zarvo-inspect") {
    // Set before any command is added: commands take these over from their parent.
    app_.allow_extras();  // words no command takes are reported by problem(), in the inspector's words
    app_.require_subcommand(1);
    app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app_.get_formatter()->label("Positionals", "Arguments");
    app_.get_formatter()->column_width(24);
    app_.set_version_flag("--version", version);
    add(nullptr, "help", "", "", [this] {
        std::cout << app_.get_formatter()->make_help(&app_, app_.get_name(), CLI::AppFormatMode::Normal);
    })->group("");
    app_.footer(footer);
}

CLI::App* CommandLine::add(CLI::App* parent, const std::string& name, const std::string& description,
                           const std::string& details, Run run) {
    CLI::App* command = (parent != nullptr ? parent : &app_)->add_subcommand(name, description);
    command->group("Commands")->footer(details);
    if (run) runs_[command] = std::move(run);
    return command;
}

CLI::App* CommandLine::chosen() {
    CLI::App* command = &app_;
    while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
    return command;
}

std::string CommandLine::problem(const CLI::ParseError* error) {
    // A word no command took comes first: it is what the user got wrong.
    for (CLI::App* command = &app_;; command = command->get_subcommands().front()) {
        std::vector<std::string> left = command->remaining();
        left.erase(std::remove(left.begin(), left.end(), "--"), left.end());  // kept by CLI11, taken by us
        if (!left.empty() && command == &app_) return "unknown command: " + left.front();
        if (!left.empty() && isOption(left.front()))
            return "unknown option for '" + nameOf(*command, false) + "': " + left.front();
        if (!left.empty()) return takes(*command);
        if (command->get_subcommands().empty()) break;
    }
    if (error == nullptr) return "";
    if (dynamic_cast<const CLI::RequiredError*>(error) != nullptr)
        return chosen() == &app_ ? "no command" : takes(*chosen());
    const std::string text = error->what();
    const std::string missing = " missing";  // an option at the end, without its value
    if (dynamic_cast<const CLI::ArgumentMismatch*>(error) != nullptr && text.size() > missing.size() &&
        text.compare(text.size() - missing.size(), missing.size(), missing) == 0)
        return text.substr(0, text.find(':')) + " needs a value";
    return text;
}

int CommandLine::run(int argc, char** argv) {
    try {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::Success& done) {  // --help, --version
            return app_.exit(done);
        } catch (const CLI::ParseError& error) {
            // the inspector's own words where scripts rely on them, else CLI11's
            throw UsageError(problem(&error));
        }
        const std::string wrong = problem(nullptr);
        if (!wrong.empty()) throw UsageError(wrong);
        runs_.at(chosen())();
        return 0;
    } catch (const UsageError& error) {
        std::cerr << "zarvo-inspect: " << oneLine(error) << "\nsee '" << nameOf(*chosen(), true) << " --help'\n";
        return 2;
    } catch (const std::bad_alloc&) {
        std::cerr << "zarvo-inspect: out of memory: the input announces more than this machine holds\n";
    } catch (const std::exception& error) {
        // bad data, or a file, socket or device that failed
        std::cerr << "zarvo-inspect: " << oneLine(error) << "\n";
    } catch (...) { std::cerr << "zarvo-inspect: unexpected error\n"; }
    return 1;
}

}  // namespace inspect
