// Real sockets: every kind over inproc, ipc and tcp in both patterns, hostile messages
// from a raw socket, a slow subscriber, three pullers, a pusher nobody takes from, a
// child publisher killed and restarted, and frames that travel without a pixel copy.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <zmq.hpp>

#include "../TestSupport.h"
#include "tests/transport/TransportSupport.h"
#include "transport/Publisher.h"
#include "transport/Puller.h"
#include "transport/Pusher.h"
#include "transport/Subscriber.h"

extern char** environ;

using namespace zarvo::exp;
using namespace zarvo::transport;
using namespace std::chrono_literals;
using testsupport::hex;
using testsupport::hold;
using transportsupport::bindable;
using transportsupport::eventually;
using transportsupport::TempDir;

namespace {

// A sender and a receiver of one pattern, the sender bound and the receiver connected.
struct Pair {
    std::unique_ptr<Sender> sender;
    std::unique_ptr<Receiver> receiver;
};

Pair connected(const std::string& pattern, const std::string& endpoint, const Options& options = {}) {
    Pair pair;
    if (pattern == "pubsub") {
        auto publisher = std::make_unique<Publisher>(options);
        auto subscriber = std::make_unique<Subscriber>(std::vector<std::string>{""}, options);
        subscriber->connect(publisher->bind(endpoint));
        EXPECT_TRUE(publisher->waitForSubscriber(5s));
        pair = {std::move(publisher), std::move(subscriber)};
    } else {
        auto pusher = std::make_unique<Pusher>(options);
        auto puller = std::make_unique<Puller>(options);
        puller->connect(pusher->bind(endpoint));
        pair = {std::move(pusher), std::move(puller)};
    }
    return pair;
}

// OpenCV's own allocator, counting the matrix buffers it makes.
class CountingAllocator : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        ++count;
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    }
    bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
    }
    void deallocate(cv::UMatData* data) const override { cv::Mat::getStdAllocator()->deallocate(data); }

    mutable std::atomic<int> count{0};
};

// A frame of 1 MiB sent over endpoint and received; counts OpenCV's allocations meanwhile.
Message sendAndReceive(const std::string& endpoint, const cv::Mat& pixels, int& allocations) {
    Pair pair = connected("pushpull", endpoint);
    CountingAllocator counting;
    cv::MatAllocator* const previous = cv::Mat::getDefaultAllocator();
    cv::Mat::setDefaultAllocator(&counting);
    pair.sender->send("camera", Frame(pixels));
    std::optional<Message> message = pair.receiver->receive(5s);
    cv::Mat::setDefaultAllocator(previous);
    allocations = counting.count;
    EXPECT_TRUE(message);
    return message ? std::move(*message) : Message{};
}

class RoundTrip : public testing::TestWithParam<std::tuple<std::string, std::string>> {};

}  // namespace

TEST_P(RoundTrip, EveryKindArrivesWhole) {
    const auto& [pattern, transport] = GetParam();
    const TempDir dir;
    Pair pair = connected(pattern, bindable(transport, dir));

    DataStorage<std::string> storage;
    storage.insert("probe.serial", hold(4711u));
    storage.insert("label", hold(std::string("left")));
    cv::Mat pixels(48, 64, CV_16UC3);
    cv::randu(pixels, 0, 65535);
    Frame frame(pixels);
    frame.addMetaDate("exposure", hold(0.004));
    const int sizes[] = {3, 4, 5};
    const Frame cube(cv::Mat(3, sizes, CV_8SC1, cv::Scalar(-3)));

    pair.sender->send("value", *hold(42));
    pair.sender->send("value", *hold(std::vector<std::string>{"a", "b"}));
    pair.sender->send("storage", storage);
    pair.sender->send("frame", frame);
    pair.sender->send("frame", cube);
    pair.sender->sendEnd("frame");

    std::vector<Message> got;
    ASSERT_TRUE(eventually([&] {
        if (auto message = pair.receiver->receive(100ms)) got.push_back(std::move(*message));
        return got.size() == 6;
    }));
    EXPECT_EQ(got[0].value->value<int>(), 42);
    EXPECT_EQ(got[1].value->toString(), "a;b;");
    EXPECT_EQ(got[1].sequence, 1u);
    EXPECT_TRUE(got[2].storage == storage);
    EXPECT_EQ(got[2].sequence, 0u);
    EXPECT_TRUE(got[3].frame.getMetaData() == frame.getMetaData());
    EXPECT_EQ(cv::norm(got[3].frame.getFrameData(), pixels, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(got[4].frame.getFrameData(), cube.getFrameData(), cv::NORM_INF), 0.0);
    EXPECT_EQ(got[5].kind, Kind::End);
    EXPECT_EQ(got[5].sequence, 2u);
    for (const Message& message : got) EXPECT_EQ(message.sender, pair.sender->senderId());
    const Stats stats = pair.receiver->stats();
    EXPECT_EQ(stats.received, 6u);
    EXPECT_EQ(stats.dropped + stats.malformed + stats.restarts, 0u);
}

INSTANTIATE_TEST_SUITE_P(Transports, RoundTrip,
                         testing::Combine(testing::Values("pubsub", "pushpull"),
                                          testing::Values("inproc", "ipc", "tcp")),
                         [](const auto& info) { return std::get<0>(info.param) + "_" + std::get<1>(info.param); });

TEST(Subscriber, CountsHostileMessagesAndGoesOn) {
    Options options;
    options.maxMessageSize = 4096;
    Subscriber subscriber({""}, options);
    const std::string endpoint = subscriber.bind("tcp://127.0.0.1:*");
    // A raw ZeroMQ socket of its own context: it writes whatever bytes it likes.
    zmq::context_t context;
    zmq::socket_t raw(context, zmq::socket_type::xpub);
    raw.connect(endpoint);
    // A bound socket learns of a new peer when it is next called: the subscription
    // leaves once the subscriber is asked for messages.
    zmq::message_t subscription;
    ASSERT_TRUE(eventually([&] {
        EXPECT_FALSE(subscriber.receive(10ms));
        return raw.recv(subscription, zmq::recv_flags::dontwait).has_value();
    }));
    const std::string header = hex("5a 52 56 4f 01 00 01 00") + std::string(24, '\0');
    std::string future = header;
    future[4] = 2;
    const std::vector<std::vector<std::string>> hostile{
        {"t"},
        {"t", header.substr(0, 20), "int32", "abcd"},
        {"t", future, "int32", "abcd"},
        {"t", header, "int32", "abc"},
        {"t", header, "int32", "abcd", "more", "and more", "and more"},
    };
    const auto send = [&](const std::vector<std::string>& parts) {
        for (size_t i = 0; i < parts.size(); ++i)
            raw.send(zmq::buffer(parts[i]), i + 1 < parts.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    };
    for (const auto& message : hostile) send(message);
    send({"t", header, "int32", hex("07 00 00 00")});

    const std::optional<Message> message = subscriber.receive(5s);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->value->value<int>(), 7);
    EXPECT_EQ(subscriber.stats().malformed, hostile.size());
    EXPECT_EQ(subscriber.stats().received, 1u);

    // A part above the largest message size: ZeroMQ drops the peer before reading it all,
    // and the peer, reconnected, is heard again.
    send({"t", header, "vecuint8", std::string(10000, 'x')});
    std::optional<Message> after;
    ASSERT_TRUE(eventually([&] {
        send({"t", header, "int32", hex("08 00 00 00")});
        after = subscriber.receive(20ms);
        return after.has_value();
    }));
    EXPECT_EQ(after->value->value<int>(), 8);
    EXPECT_EQ(subscriber.stats().malformed, hostile.size());
}

TEST(Subscriber, SlowOneCountsExactlyWhatItMissed) {
    Options options;
    options.sendHighWaterMark = 4;
    options.receiveHighWaterMark = 4;
    // Over inproc no kernel buffer lies between the two queues; over tcp frames of 256 KiB
    // outgrow the kernel's. Either way losses are certain.
    const Frame frame(cv::Mat(256, 1024, CV_8UC1, cv::Scalar(1)));
    const struct {
        std::string endpoint;
        int sent;
        std::function<void(Sender&, int)> send;
    } cases[] = {
        {"inproc://zarvo-slow", 3000, [](Sender& sender, int i) { sender.send("t", *hold(i)); }},
        {"tcp://127.0.0.1:*", 300, [&](Sender& sender, int) { sender.send("t", frame); }},
    };
    for (const auto& slow : cases) {
        SCOPED_TRACE(slow.endpoint);
        Pair pair = connected("pubsub", slow.endpoint, options);
        for (int i = 0; i < slow.sent; ++i) slow.send(*pair.sender, i);
        std::uint64_t received = 0;
        std::optional<std::uint64_t> first;
        const auto drain = [&] {
            while (auto message = pair.receiver->receive(500ms)) {
                if (!first) first = message->sequence;
                ++received;
            }
        };
        drain();
        // The last message follows an empty queue, so it arrives and closes the last gap.
        pair.sender->sendEnd("t");
        drain();
        ASSERT_EQ(first, 0u);
        const Stats stats = pair.receiver->stats();
        EXPECT_EQ(stats.received, received);
        EXPECT_GT(stats.dropped, 0u);
        EXPECT_EQ(slow.sent + 1 - received, stats.dropped);
    }
}

TEST(Subscriber, ReceiveLatestKeepsTheNewest) {
    Pair pair = connected("pubsub", "inproc://zarvo-latest");
    for (int i = 0; i < 50; ++i) pair.sender->send("t", *hold(i));
    const std::optional<Message> latest = pair.receiver->receiveLatest(1s);
    ASSERT_TRUE(latest);
    EXPECT_EQ(latest->value->value<int>(), 49);
    EXPECT_EQ(pair.receiver->stats().received, 50u);
    EXPECT_FALSE(pair.receiver->receive(0ms));
}

TEST(Puller, ThreeShareAStreamEachMessageOnce) {
    Pusher pusher;
    const std::string endpoint = pusher.bind("tcp://127.0.0.1:*");
    std::vector<std::unique_ptr<Puller>> pullers;
    for (int i = 0; i < 3; ++i) {
        pullers.push_back(std::make_unique<Puller>());
        pullers.back()->connect(endpoint);
    }
    constexpr int sent = 300;
    for (int i = 0; i < sent; ++i) pusher.send("t", *hold(i));
    std::multiset<std::uint64_t> sequences;
    ASSERT_TRUE(eventually([&] {
        for (auto& puller : pullers)
            while (auto message = puller->receive(10ms)) sequences.insert(message->sequence);
        return sequences.size() >= sent;
    }));
    for (auto& puller : pullers) EXPECT_FALSE(puller->receive(50ms));
    ASSERT_EQ(sequences.size(), static_cast<size_t>(sent));
    for (int i = 0; i < sent; ++i) EXPECT_EQ(sequences.count(i), 1u) << i;
    // Each saw a share of one sender's sequence, full of gaps that are no losses.
    for (auto& puller : pullers) EXPECT_EQ(puller->stats().dropped, 0u);
}

TEST(Pusher, TimesOutWithoutLosingWhatWasSent) {
    Options options;
    options.sendTimeout = 100ms;
    options.sendHighWaterMark = 2;
    options.receiveHighWaterMark = 2;
    Pusher pusher(options);
    const std::string endpoint = pusher.bind("inproc://zarvo-no-puller");
    EXPECT_THAT(
        [&] { pusher.send("t", *hold(0)); },
        testing::Throws<zarvo::Exception>(testing::Property(
            &zarvo::Exception::message, "No receiver took the message 0 on topic 't' within 100 ms; it was not sent")));

    // A puller that takes nothing: the queues fill, then a send times out.
    Puller puller(options);
    puller.connect(endpoint);
    int accepted = 0;
    try {
        for (; accepted < 100; ++accepted) pusher.send("t", *hold(accepted));
    } catch (const zarvo::Exception&) {}
    ASSERT_LT(accepted, 100);
    for (int i = 0; i < accepted; ++i) {
        const auto message = puller.receive(1s);
        ASSERT_TRUE(message);
        EXPECT_EQ(message->sequence, static_cast<std::uint64_t>(i));
        EXPECT_EQ(message->value->value<int>(), i);
    }
    // The refused sends used no sequence number.
    pusher.send("t", *hold(-1));
    const auto next = puller.receive(1s);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->sequence, static_cast<std::uint64_t>(accepted));
}

TEST(Subscriber, RestartedPublisherIsOneRestartAndNoGap) {
    Subscriber subscriber;
    const std::string endpoint = subscriber.bind("tcp://127.0.0.1:*");
    const auto start = [&] {
        pid_t pid = 0;
        std::string program = ZARVO_CHILD_PUBLISHER, topic = "camera";
        char* argv[] = {program.data(), const_cast<char*>(endpoint.c_str()), topic.data(), nullptr};
        EXPECT_EQ(posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ), 0);
        return pid;
    };
    const auto stop = [](pid_t pid) {
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    };
    // Messages from the sender of the first message, then until one from another.
    const auto receiveFrom = [&](int count, std::uint64_t& sender, std::uint64_t other) {
        int got = 0;
        return eventually([&] {
            const auto message = subscriber.receive(100ms);
            if (message && message->sender != other) {
                sender = message->sender;
                ++got;
            }
            return got == count;
        });
    };
    std::uint64_t first = 0, second = 0;
    const pid_t before = start();
    ASSERT_TRUE(receiveFrom(20, first, 0));
    ASSERT_TRUE(stop(before));
    const pid_t after = start();
    const bool restarted = receiveFrom(20, second, first);
    ASSERT_TRUE(stop(after));
    ASSERT_TRUE(restarted);
    EXPECT_NE(first, second);
    const Stats stats = subscriber.stats();
    EXPECT_EQ(stats.restarts, 1u);
    EXPECT_EQ(stats.dropped, 0u);
    EXPECT_EQ(stats.malformed, 0u);
}

TEST(ZeroCopy, NoPixelCopyOverInprocOrTcp) {
    cv::Mat pixels(512, 1024, CV_16UC1);
    cv::randu(pixels, 0, 65535);
    const cv::Mat expected = pixels.clone();
    int allocations = -1;
    // Over inproc ZeroMQ passes the message over whole: the received matrix lies in the sender's buffer,
    // which the received message holds until the last matrix over it goes.
    cv::Mat local = sendAndReceive("inproc://zarvo-zero-copy", pixels, allocations).frame.getFrameData();
    EXPECT_EQ(local.data, pixels.data);
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(pixels.u->refcount, 2);
    cv::Mat row = local.row(3);
    local.release();
    EXPECT_EQ(pixels.u->refcount, 2);
    row.release();
    EXPECT_EQ(pixels.u->refcount, 1);

    cv::Mat received = sendAndReceive("tcp://127.0.0.1:*", pixels, allocations).frame.getFrameData();
    EXPECT_EQ(allocations, 0);
    EXPECT_NE(received.data, pixels.data);
    pixels.release();
    // The message is gone with its Message; the matrix alone keeps its buffer.
    ASSERT_NE(received.u, nullptr);
    EXPECT_EQ(received.u->refcount, 1);
    EXPECT_NE(received.u->currAllocator, cv::Mat::getStdAllocator());
    EXPECT_EQ(cv::norm(received, expected, cv::NORM_INF), 0.0);
}
