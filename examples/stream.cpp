// Frames from a publisher process to a subscriber process over ZeroMQ.
//
//   zarvo_stream                        both, the publisher in a child process
//   zarvo_stream publish ENDPOINT       the publisher alone, bound to ENDPOINT
//   zarvo_stream subscribe ENDPOINT     the subscriber alone, connected to ENDPOINT
//
// The publisher sends 300 frames of 640x480 16-bit pixels as fast as it can, then the
// end of the stream. The queues are short (10 frames out, 20 in) and the subscriber is
// slower on purpose (1 ms per frame), so it loses frames, as a live viewer may, and
// counts them from the sequence numbers.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include "transport/Publisher.h"
#include "transport/Subscriber.h"

using namespace zarvo::exp;
using namespace zarvo::transport;
using namespace std::chrono_literals;

namespace {

constexpr int kFrames = 300;

// Binds, says where (to the parent through fd, when there is one), waits for a
// subscriber, and publishes.
int publish(const std::string& endpoint, int fd) {
    Options options;
    options.sendHighWaterMark = 10;
    Publisher publisher(options);
    const std::string bound = publisher.bind(endpoint);
    std::cout << "publisher: bound to " << bound << std::endl;
    if (fd >= 0 && (write(fd, bound.c_str(), bound.size()) < 0 || close(fd) != 0)) return 1;
    if (!publisher.waitForSubscriber(10s)) {
        std::cout << "publisher: no subscriber came within 10 s" << std::endl;
        return 1;
    }
    for (int i = 0; i < kFrames; ++i) {
        // A new matrix per frame: a sent frame's pixels are on their way until ZeroMQ is done.
        Frame frame(cv::Mat(480, 640, CV_16UC1, cv::Scalar(i)));
        frame.addMetaDate("index", std::make_shared<Variant_<int>>(i));
        frame.addMetaDate("camera.exposure_us", std::make_shared<Variant_<int>>(250));
        publisher.send("camera/left", frame);
    }
    // A pause first, so that the end finds a queue with room.
    std::this_thread::sleep_for(500ms);
    publisher.sendEnd("camera/left");
    std::cout << "publisher: sent " << kFrames << " frames and the end of the stream" << std::endl;
    return 0;
}

int subscribe(const std::string& endpoint) {
    Options options;
    options.receiveHighWaterMark = 20;
    Subscriber subscriber({"camera/"}, options);
    subscriber.connect(endpoint);
    const auto start = std::chrono::steady_clock::now();
    double bytes = 0;
    for (;;) {
        const std::optional<Message> message = subscriber.receive(10s);
        if (!message) {
            std::cout << "subscriber: nothing for 10 s, giving up" << std::endl;
            break;
        }
        if (message->kind == Kind::End) break;
        const cv::Mat& pixels = message->frame.getFrameData();
        bytes += static_cast<double>(pixels.total() * pixels.elemSize());
        if (message->sequence % 50 == 0)
            std::cout << "subscriber: " << message->topic << " #" << message->sequence << ": " << message->frame
                      << std::endl;
        std::this_thread::sleep_for(1ms);  // a viewer drawing the frame
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const Stats stats = subscriber.stats();
    std::cout << "subscriber: received " << stats.received << " messages, dropped " << stats.dropped
              << " (from sequence gaps), malformed " << stats.malformed << ", restarts " << stats.restarts << "\n"
              << "subscriber: " << static_cast<int>(stats.received / seconds) << " messages/s, "
              << static_cast<int>(bytes / seconds / 1e6) << " MB/s of pixels" << std::endl;
    return stats.received > 0 ? 0 : 1;
}

// The publisher in a child process, started before this process makes any socket:
// a child must not use the ZeroMQ context of its parent.
int both() {
    int fds[2];
    if (pipe(fds) != 0) return 1;
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) {
        close(fds[0]);
        // exit, not _exit: the end of the process hands over what is still queued.
        std::exit(publish("tcp://127.0.0.1:*", fds[1]));
    }
    close(fds[1]);
    char endpoint[256] = {};
    const ssize_t got = read(fds[0], endpoint, sizeof endpoint - 1);
    close(fds[0]);
    const int result = got > 0 ? subscribe(endpoint) : 1;
    int status = 0;
    waitpid(child, &status, 0);
    return result != 0 || !WIFEXITED(status) ? 1 : WEXITSTATUS(status);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) return both();
    if (argc == 3 && std::strcmp(argv[1], "publish") == 0) return publish(argv[2], -1);
    if (argc == 3 && std::strcmp(argv[1], "subscribe") == 0) return subscribe(argv[2]);
    std::cerr << "usage: " << argv[0] << " [publish ENDPOINT | subscribe ENDPOINT]\n";
    return 2;
}
