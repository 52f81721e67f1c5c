// CURVE: key files, the right and the wrong server key, allowed clients, and what a
// relay between the two sockets sees of the bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <zmq_addon.hpp>

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

// Publishes a marked text to a subscriber until it arrives, through a relay of two raw
// ZeroMQ STREAM sockets pumped in this thread; the bytes the publisher sent.
std::string wireBytes(const Options& publisherOptions, const Options& subscriberOptions) {
    Publisher publisher(publisherOptions);
    zmq::context_t context;
    zmq::socket_t front(context, zmq::socket_type::stream), back(context, zmq::socket_type::stream);
    back.set(zmq::sockopt::connect_routing_id, "publisher");
    back.connect(publisher.bind("tcp://127.0.0.1:*"));
    front.bind("tcp://127.0.0.1:*");
    Subscriber subscriber({""}, subscriberOptions);
    subscriber.connect(front.get(zmq::sockopt::last_endpoint));
    std::string client, captured;
    // Each message of a STREAM socket is a peer's id and bytes; empty bytes announce a peer.
    const auto pump = [&](zmq::socket_t& from, zmq::socket_t& to, const std::string& peer, bool keep) {
        std::vector<zmq::message_t> message;
        while (zmq::recv_multipart(from, std::back_inserter(message), zmq::recv_flags::dontwait)) {
            if (message[1].size() == 0) {
                if (!keep) client = message[0].to_string();
            } else {
                if (keep) captured += message[1].to_string();
                to.send(zmq::buffer(peer), zmq::send_flags::sndmore);
                to.send(message[1], zmq::send_flags::none);
            }
            message.clear();
        }
    };
    EXPECT_TRUE(eventually([&] {
        pump(front, back, "publisher", false);
        if (!client.empty()) pump(back, front, client, true);
        publisher.send("secret-topic", *hold(std::string("PLAINTEXT-MARKER-0123456789")));
        const auto message = subscriber.receive(5ms);
        return message && message->value->toString() == "PLAINTEXT-MARKER-0123456789";
    }));
    return captured;
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

TEST(Curve, RightKeyAndAllowedClientReceiveOthersNothing) {
    Options server, member, stranger, outsider;
    server.security.server = KeyPair::generate();
    member.security.client = stranger.security.client = KeyPair::generate();
    outsider.security.client = KeyPair::generate();
    server.security.allowedClients = {member.security.client->publicKey};
    member.security.serverPublicKey = outsider.security.serverPublicKey = server.security.server->publicKey;
    stranger.security.serverPublicKey = KeyPair::generate().publicKey;
    Publisher publisher(server);
    const std::string endpoint = publisher.bind("tcp://127.0.0.1:*");
    Subscriber trusted({""}, member), wrongKey({""}, stranger), notAllowed({""}, outsider);
    for (Subscriber* subscriber : {&trusted, &wrongKey, &notAllowed}) subscriber->connect(endpoint);
    std::optional<Message> message;
    ASSERT_TRUE(eventually([&] {
        publisher.send("t", *hold(7));
        return (message = trusted.receive(20ms)).has_value();
    }));
    EXPECT_EQ(message->value->value<int>(), 7);
    publisher.send("t", *hold(8));
    EXPECT_FALSE(wrongKey.receive(300ms));
    EXPECT_FALSE(notAllowed.receive(0ms));
    EXPECT_EQ(wrongKey.stats().received + notAllowed.stats().received, 0u);

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
