// No copy of the pixels on either side: OpenCV allocates nothing while a frame goes
// out and comes in, and the received matrix lies in the received message.

#include <gtest/gtest.h>

#include <atomic>

#include "../TestSupport.h"
#include "tests/transport/TransportSupport.h"
#include "transport/Puller.h"
#include "transport/Pusher.h"

using namespace zarvo::exp;
using namespace zarvo::transport;
using namespace std::chrono_literals;

namespace {

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
    Pusher pusher;
    Puller puller;
    puller.connect(pusher.bind(endpoint));
    CountingAllocator counting;
    cv::MatAllocator* const previous = cv::Mat::getDefaultAllocator();
    cv::Mat::setDefaultAllocator(&counting);
    pusher.send("camera", Frame(pixels));
    std::optional<Message> message = puller.receive(5s);
    cv::Mat::setDefaultAllocator(previous);
    allocations = counting.count;
    EXPECT_TRUE(message);
    return message ? std::move(*message) : Message{};
}

}  // namespace

TEST(ZeroCopy, NoPixelCopyOverInprocOrTcp) {
    cv::Mat pixels(512, 1024, CV_16UC1);
    cv::randu(pixels, 0, 65535);
    const cv::Mat expected = pixels.clone();
    int allocations = -1;
    // Over inproc ZeroMQ passes the message over whole: the received matrix lies in the sender's buffer.
    EXPECT_EQ(sendAndReceive("inproc://zarvo-zero-copy", pixels, allocations).frame.getFrameData().data, pixels.data);
    EXPECT_EQ(allocations, 0);

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
