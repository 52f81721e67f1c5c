#include "transport/KeyPair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zmq.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "valuefault/Exception.h"

namespace zarvo::transport {

namespace {

constexpr size_t kKeyLength = 40;

// The key text in a file: its first line, blanks around it dropped.
std::string readKey(const std::string& path, const char* what) {
    std::ifstream file(path);
    if (!file) ZARVO_THROW("Cannot read the " << what << " key file " << path << ": " << std::strerror(errno));
    std::string key;
    std::getline(file, key, '\n');
    const size_t begin = key.find_first_not_of(" \t\r");
    const size_t end = key.find_last_not_of(" \t\r");
    key = begin == std::string::npos ? std::string() : key.substr(begin, end - begin + 1);
    std::array<std::uint8_t, 32> binary{};
    if (key.size() != kKeyLength || zmq_z85_decode(binary.data(), key.c_str()) == nullptr)
        ZARVO_THROW("The " << what << " key file " << path << " holds no Z85 key of " << kKeyLength << " characters");
    return key;
}

// Writes key and a line end to path, readable by others or by the owner only.
void writeKey(const std::string& path, const std::string& key, mode_t mode) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0) ZARVO_THROW("Cannot write the key file " << path << ": " << std::strerror(errno));
    const std::string line = key + "\n";
    // A file that was there before keeps its mode through O_CREAT: set it.
    const bool ok =
        ::fchmod(fd, mode) == 0 && ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    const int error = errno;
    if (::close(fd) != 0 || !ok) ZARVO_THROW("Cannot write the key file " << path << ": " << std::strerror(error));
}

}  // namespace

KeyPair KeyPair::generate() {
    std::array<char, kKeyLength + 1> publicKey{};
    std::array<char, kKeyLength + 1> secretKey{};
    if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0)
        ZARVO_THROW("Cannot make a CURVE key pair: " << zmq_strerror(zmq_errno()));
    return KeyPair{publicKey.data(), secretKey.data()};
}

KeyPair KeyPair::load(const std::string& name) {
    KeyPair pair{readKey(name + ".pub", "public"), readKey(name + ".key", "secret")};
    std::array<char, kKeyLength + 1> derived{};
    if (zmq_curve_public(derived.data(), pair.secretKey.c_str()) != 0 || pair.publicKey != derived.data())
        ZARVO_THROW("The public key in " << name << ".pub does not belong to the secret key in " << name << ".key");
    return pair;
}

std::string KeyPair::loadPublic(const std::string& path) { return readKey(path, "public"); }

void KeyPair::save(const std::string& name) const {
    writeKey(name + ".key", secretKey, S_IRUSR | S_IWUSR);
    writeKey(name + ".pub", publicKey, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
}

}  // namespace zarvo::transport
