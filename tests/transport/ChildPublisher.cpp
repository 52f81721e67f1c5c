// A publisher for the restart test: connects to argv[1] and publishes int32 values on
// topic argv[2] every 2 ms, until it is killed (or after 30000 messages at the most).
#include <chrono>
#include <thread>

#include "transport/Publisher.h"

int main(int, char** argv) {
    zarvo::transport::Publisher publisher;
    publisher.connect(argv[1]);
    for (int i = 0; i < 30000; ++i) {
        publisher.send(argv[2], zarvo::exp::Variant_<int>(i));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return 0;
}
