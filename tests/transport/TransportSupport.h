#pragma once

// What the transport tests share: messages as strings of bytes, endpoints on each
// transport, and bounded waits.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "transport/Receiver.h"
#include "transport/WireFormat.h"

namespace transportsupport {

using namespace std::chrono_literals;
using zarvo::transport::WireFormat;

/// The bytes of each part.
inline std::vector<std::string> strings(const std::vector<WireFormat::Part>& parts) {
    std::vector<std::string> bytes;
    for (const auto& part : parts) bytes.emplace_back(part.data, part.size);
    return bytes;
}

/// Parts over strings, which must outlive them (no owner: decoding copies what it keeps).
inline std::vector<WireFormat::Part> parts(const std::vector<std::string>& bytes) {
    std::vector<WireFormat::Part> parts;
    for (const auto& part : bytes) parts.push_back({part.data(), part.size(), nullptr});
    return parts;
}

/// A folder of its own below the system's temporary folder, removed at the end of the test.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zarvo-transport-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir() { std::filesystem::remove_all(m_path); }
    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// The three transports, each bound where nothing else can collide: a unique inproc
/// name, an ipc path in a temporary folder, a tcp port the OS chooses.
inline std::string bindable(const std::string& transport, const TempDir& dir) {
    static int inprocCount = 0;
    if (transport == "inproc")
        return "inproc://zarvo-test-" + std::to_string(getpid()) + "-" + std::to_string(++inprocCount);
    if (transport == "ipc") return "ipc://" + (dir.path() / "socket").string();
    return "tcp://127.0.0.1:*";
}

/// Runs step until it returns true, at most count times and for at most limit.
inline bool eventually(const std::function<bool()>& step, int count = 1000,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (int i = 0; i < count && std::chrono::steady_clock::now() < end; ++i)
        if (step()) return true;
    return false;
}

}  // namespace transportsupport
