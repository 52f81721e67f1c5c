// Built against the installed zarvo_transport: a frame and a value from a publisher to a
// subscriber over inproc, read back whole.
#include <chrono>
#include <iostream>

#include "transport/Publisher.h"
#include "transport/Subscriber.h"

using namespace zarvo::exp;
using namespace zarvo::transport;
using namespace std::chrono_literals;

int main() {
    Publisher publisher;
    Subscriber subscriber({"camera"});
    subscriber.connect(publisher.bind("inproc://consumer"));
    bool ok = publisher.waitForSubscriber(5s);
    Frame frame(cv::Mat(2, 2, CV_8UC1, cv::Scalar(9)));
    frame.addMetaDate("index", std::make_shared<Variant_<int>>(3));
    publisher.send("camera", frame);
    publisher.send("camera.gain", Variant_<double>(1.5));
    const auto first = subscriber.receive(5s);
    const auto second = subscriber.receive(5s);
    std::shared_ptr<Variant> index;
    ok = ok && first && second && first->kind == Kind::Frame && first->frame.getMetaDate("index", index) &&
         index->toInt32() == 3 && first->frame.getFrameData().at<unsigned char>(1, 1) == 9 &&
         second->value->toDouble() == 1.5 && second->sequence == 0 && subscriber.stats().received == 2;
    std::cout << "transport consumer: " << (ok ? "sent and received" : "FAILED") << "\n";
    return ok ? 0 : 1;
}
