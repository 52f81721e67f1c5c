// CURVE: key files, the right and the wrong server key, allowed clients, and what a
// relay between the two sockets sees of the bytes.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <thread>

#include "../TestSupport.h"
#include "tests/transport/TransportSupport.h"
#include "transport/Publisher.h"
#include "transport/Subscriber.h"

using namespace zarvo::transport;
using namespace std::chrono_literals;
using testsupport::hold;
using transportsupport::eventually;
using transportsupport::TempDir;

namespace {

// Forwards one TCP connection from its own port to target's and keeps what target sent.
class Relay {
public:
    explicit Relay(int targetPort) : m_listener(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, 1) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("relay cannot listen");
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this, targetPort] { run(targetPort); });
    }
    ~Relay() {
        m_stop = true;
        m_thread.join();
        close(m_listener);
    }
    int port() const { return m_port; }
    std::string captured() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_captured;
    }

private:
    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    void run(int targetPort) {
        pollfd waiting{m_listener, POLLIN, 0};
        while (!m_stop && poll(&waiting, 1, 50) == 0) {
        }
        if (m_stop) return;
        const int client = accept(m_listener, nullptr, nullptr);
        const int target = socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = loopback(targetPort);
        if (connect(target, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            pollfd both[] = {{client, POLLIN, 0}, {target, POLLIN, 0}};
            char buffer[65536];
            while (!m_stop) {
                if (poll(both, 2, 50) <= 0) continue;
                if (both[0].revents != 0 && !forward(client, target, buffer, sizeof buffer, false)) break;
                if (both[1].revents != 0 && !forward(target, client, buffer, sizeof buffer, true)) break;
            }
        }
        close(target);
        close(client);
    }
    bool forward(int from, int to, char* buffer, size_t size, bool keep) {
        const ssize_t got = read(from, buffer, size);
        if (got <= 0) return false;
        if (keep) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_captured.append(buffer, static_cast<size_t>(got));
        }
        return write(to, buffer, static_cast<size_t>(got)) == got;
    }

    int m_listener;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::mutex m_mutex;
    std::string m_captured;
    std::thread m_thread;
};

int portOf(const std::string& endpoint) { return std::stoi(endpoint.substr(endpoint.rfind(':') + 1)); }

// Publishes a marked text to a subscriber behind a relay until it arrives; what the relay saw.
std::string wireBytes(const Options& publisherOptions, const Options& subscriberOptions) {
    Publisher publisher(publisherOptions);
    Relay relay(portOf(publisher.bind("tcp://127.0.0.1:*")));
    Subscriber subscriber({""}, subscriberOptions);
    subscriber.connect("tcp://127.0.0.1:" + std::to_string(relay.port()));
    EXPECT_TRUE(eventually([&] {
        publisher.send("secret-topic", *hold(std::string("PLAINTEXT-MARKER-0123456789")));
        const auto message = subscriber.receive(20ms);
        return message && message->value->toString() == "PLAINTEXT-MARKER-0123456789";
    }));
    return relay.captured();
}

}  // namespace

TEST(Curve, KeyFilesRoundTripWithTheSecretForTheOwnerOnly) {
    const TempDir dir;
    const std::string name = (dir.path() / "camera").string();
    const KeyPair pair = KeyPair::generate();
    EXPECT_EQ(pair.publicKey.size(), 40u);
    EXPECT_EQ(pair.secretKey.size(), 40u);
    pair.save(name);
    struct stat status {};
    ASSERT_EQ(stat((name + ".key").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    const KeyPair loaded = KeyPair::load(name);
    EXPECT_EQ(loaded.publicKey, pair.publicKey);
    EXPECT_EQ(loaded.secretKey, pair.secretKey);
    EXPECT_EQ(KeyPair::loadPublic(name + ".pub"), pair.publicKey);

    KeyPair::generate().save((dir.path() / "other").string());
    std::filesystem::copy_file(dir.path() / "other.pub", name + ".pub",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_THAT([&] { KeyPair::load(name); },
                testing::Throws<zarvo::Exception>(testing::Property(
                    &zarvo::Exception::message,
                    "The public key in " + name + ".pub does not belong to the secret key in " + name + ".key")));
    std::ofstream(name + ".pub") << "not a key\n";
    EXPECT_THAT(
        [&] { KeyPair::loadPublic(name + ".pub"); },
        testing::Throws<zarvo::Exception>(testing::Property(
            &zarvo::Exception::message, "The public key file " + name + ".pub holds no Z85 key of 40 characters")));
}

TEST(Curve, RightKeyReceivesWrongKeyNothing) {
    Options server;
    server.security.server = KeyPair::generate();
    Publisher publisher(server);
    const std::string endpoint = publisher.bind("tcp://127.0.0.1:*");
    Options right, wrong;
    right.security.serverPublicKey = server.security.server->publicKey;
    wrong.security.serverPublicKey = KeyPair::generate().publicKey;
    Subscriber trusted({""}, right), stranger({""}, wrong);
    trusted.connect(endpoint);
    stranger.connect(endpoint);
    std::optional<Message> message;
    ASSERT_TRUE(eventually([&] {
        publisher.send("t", *hold(7));
        return (message = trusted.receive(20ms)).has_value();
    }));
    EXPECT_EQ(message->value->value<int>(), 7);
    publisher.send("t", *hold(8));
    EXPECT_FALSE(stranger.receive(300ms));
    EXPECT_EQ(stranger.stats().received, 0u);
}

TEST(Curve, OnlyAllowedClientsAreLetIn) {
    Options server;
    server.security.server = KeyPair::generate();
    Options allowed, other;
    allowed.security.serverPublicKey = other.security.serverPublicKey = server.security.server->publicKey;
    allowed.security.client = KeyPair::generate();
    other.security.client = KeyPair::generate();
    server.security.allowedClients = {allowed.security.client->publicKey};
    Publisher publisher(server);
    const std::string endpoint = publisher.bind("tcp://127.0.0.1:*");
    Subscriber member({""}, allowed), outsider({""}, other);
    member.connect(endpoint);
    outsider.connect(endpoint);
    ASSERT_TRUE(eventually([&] {
        publisher.send("t", *hold(1));
        return member.receive(20ms).has_value();
    }));
    publisher.send("t", *hold(2));
    EXPECT_FALSE(outsider.receive(300ms));

    server.security.allowedClients = {"short"};
    EXPECT_THAT([&] { Publisher refused(server); },
                testing::Throws<zarvo::Exception>(testing::Property(
                    &zarvo::Exception::message, "Allowed client key 'short' is no Z85 key of 40 characters")));
}

TEST(Curve, BytesOnTheWireAreNoPlainText) {
    // Without CURVE the relay sees the text, which shows that it sees the messages at all.
    EXPECT_THAT(wireBytes({}, {}), testing::HasSubstr("PLAINTEXT-MARKER-0123456789"));
    Options server, client;
    server.security.server = KeyPair::generate();
    client.security.serverPublicKey = server.security.server->publicKey;
    const std::string encrypted = wireBytes(server, client);
    EXPECT_GT(encrypted.size(), 200u);
    EXPECT_THAT(encrypted, testing::Not(testing::HasSubstr("PLAINTEXT-MARKER")));
    EXPECT_THAT(encrypted, testing::Not(testing::HasSubstr("secret-topic")));
}
