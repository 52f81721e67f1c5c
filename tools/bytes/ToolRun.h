#pragma once

// Runs the built zarvo-inspect (ZARVO_INSPECT_PROGRAM) in the inspector's tests: its
// exit code, output and error line, with input files in a scratch folder of the test process.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace inspecttest {

inline const std::string kDir = ::testing::TempDir() + "zarvo_inspect_" + std::to_string(getpid()) + "/";
inline const struct Scratch {
    Scratch() { std::filesystem::create_directories(kDir); }
    ~Scratch() { std::filesystem::remove_all(kDir); }
} kScratch;

inline std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Writes bytes to a file in the scratch directory; gives its path.
inline std::string file(const std::string& name, const std::string& bytes) {
    std::ofstream(kDir + name, std::ios::binary) << bytes;
    return kDir + name;
}

// Exit code, standard output and standard error of the program run with args.
inline std::tuple<int, std::string, std::string> run(const std::string& args) {
    const int status = std::system((ZARVO_INSPECT_PROGRAM " " + args + " >" + kDir + "out 2>" + kDir + "err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(kDir + "out"), slurp(kDir + "err")};
}

// Runs args; checks the exit code, the output, and the error line ("zarvo-inspect: " +
// error; a usage error adds one line pointing at its command's --help).
inline void expectRun(const std::string& args, int code, const std::string& out, const std::string& error) {
    const auto [gotCode, gotOut, gotError] = run(args);
    EXPECT_TRUE(gotCode == code && gotOut == out) << args << ": " << gotCode << " " << gotOut;
    const std::string line = error.empty() ? "" : "zarvo-inspect: " + error + "\n";
    const std::string hint = gotError.substr(std::min(line.size(), gotError.size()));
    EXPECT_EQ(gotError.substr(0, line.size()), line) << args;
    const bool isHint = hint.rfind("see 'zarvo-inspect", 0) == 0 && hint.find('\n') + 1 == hint.size() &&
                        hint.size() > 9 && hint.compare(hint.size() - 9, 9, " --help'\n") == 0;
    EXPECT_TRUE(code == 2 ? isHint : hint.empty()) << args << ": " << gotError;
}

/// A command line, its exit code, output and error.
using Case = std::tuple<std::string, int, std::string, std::string>;

}  // namespace inspecttest
