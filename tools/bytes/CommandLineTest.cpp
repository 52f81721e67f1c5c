// zarvo-inspect's command line, run as the real program: every command answers --help
// with its own usage and a bad option with one line and a hint to that --help.
#include "tools/bytes/ToolRun.h"

using namespace inspecttest;

TEST(InspectCommandLine, EveryCommandHasItsHelpAndOneErrorPath) {
    // Each command (none: the program) and the usage line only its own --help prints.
    const std::pair<std::string, std::string> commands[] = {
        {"", "Usage: zarvo-inspect [OPTIONS] COMMAND"},
        {"read", "Usage: zarvo-inspect read [OPTIONS] NAME [FILE]"},
        {"write", "Usage: zarvo-inspect write [OPTIONS] NAME TEXT"},
        {"types", "Usage: zarvo-inspect types [OPTIONS]"},
#ifdef ZARVO_INSPECT_HDF5
        {"h5", "Usage: zarvo-inspect h5 [OPTIONS] COMMAND"},
        {"h5 list", "Usage: zarvo-inspect h5 list [OPTIONS] FILE"},
        {"h5 summary", "Usage: zarvo-inspect h5 summary [OPTIONS] FILE"},
        {"h5 print", "Usage: zarvo-inspect h5 print [OPTIONS] FILE PATH"},
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
        {"listen", "Usage: zarvo-inspect listen [OPTIONS] ENDPOINT [TOPIC...]"},
#ifdef ZARVO_INSPECT_HDF5
        {"record", "Usage: zarvo-inspect record [OPTIONS] ENDPOINT FILE.h5 [TOPIC...]"},
#endif
        {"send", "Usage: zarvo-inspect send [OPTIONS] ENDPOINT TOPIC NAME TEXT"},
        {"keys", "Usage: zarvo-inspect keys [OPTIONS] NAME"},
#endif
    };
    for (const auto& [command, usage] : commands) {
        const auto [code, out, error] = run(command + " --help");
        EXPECT_TRUE(code == 0 && error.empty()) << command << ": " << code << " " << error;
        EXPECT_NE(out.find("\n" + usage + "\n"), std::string::npos) << command << ":\n" << out;
        EXPECT_EQ(out.find("Exit codes:") != std::string::npos, command.empty()) << command;  // the program's alone
        const std::string wrong = command.empty() ? "unknown command" : "unknown option for '" + command + "'";
        EXPECT_EQ(run(command + " --bogus"),
                  std::make_tuple(2, std::string(),
                                  "zarvo-inspect: " + wrong + ": --bogus\nsee 'zarvo-inspect " + command +
                                      (command.empty() ? "" : " ") + "--help'\n"));
    }
    EXPECT_EQ(run("help"), run("--help"));
}
