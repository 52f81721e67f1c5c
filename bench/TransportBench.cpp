// The transport against raw ZeroMQ: the same bytes through the same socket kinds (PUSH
// to PULL) over inproc, ipc and tcp, the baseline sending every part without a copy
// from bytes encoded beforehand and receiving them whole. Frames of 256 KiB, 1 MiB and
// 8 MiB compare as ratios of time per message (the throughput ratio is its inverse);
// an int32 value and a 50-entry storage as microseconds added per message, beside
// the time of their encoding and decoding alone (Codec*).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <functional>
#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "BenchRatio.h"
#include "transport/Puller.h"
#include "transport/Pusher.h"
#include "transport/WireFormat.h"

using namespace zarvo::exp;
using namespace zarvo::transport;

namespace {

const char* const kTransports[] = {"inproc", "ipc", "tcp"};

std::string endpoint(const std::string& transport) {
    static int count = 0;
    const std::string name = "zarvo-bench-" + std::to_string(getpid()) + "-" + std::to_string(++count);
    if (transport == "inproc") return "inproc://" + name;
    if (transport == "ipc") return "ipc:///tmp/" + name;
    return "tcp://127.0.0.1:*";
}

Frame frame(size_t bytes) {
    Frame frame(cv::Mat(static_cast<int>(bytes / 1024), 1024, CV_8UC1, cv::Scalar(7)));
    frame.addMetaDate("camera.serial", std::make_shared<Variant_<int>>(4711));
    frame.addMetaDate("exposure", std::make_shared<Variant_<double>>(0.004));
    return frame;
}

DataStorage<std::string> storage() {
    DataStorage<std::string> storage;
    for (int i = 0; i < 50; ++i) storage.insert("entry" + std::to_string(i), std::make_shared<Variant_<double>>(i));
    return storage;
}

// A Pusher's send and a Puller's receive per iteration.
void Transport(benchmark::State& state, const std::string& transport, const std::function<void(Sender&)>& send) {
    Pusher pusher;
    Puller puller;
    puller.connect(pusher.bind(endpoint(transport)));
    // The previous message goes after the next is sent and before it is received, as the
    // baseline's does, so that both free and allocate their buffers in the same order.
    std::optional<Message> message;
    for (auto _ : state) {
        send(pusher);
        message.reset();
        message = puller.receive(std::chrono::seconds(10));
        if (!message) state.SkipWithError("message lost");
        benchmark::DoNotOptimize(message);
    }
}

// The same parts sent raw, each without a copy, and received whole.
void Raw(benchmark::State& state, const std::string& transport, const std::vector<WireFormat::Part>& parts) {
    static zmq::context_t context;
    zmq::socket_t push(context, zmq::socket_type::push), pull(context, zmq::socket_type::pull);
    push.bind(endpoint(transport));
    pull.connect(push.get(zmq::sockopt::last_endpoint));
    std::vector<zmq::message_t> received;
    for (auto _ : state) {
        for (size_t i = 0; i < parts.size(); ++i) {
            zmq::message_t part(const_cast<char*>(parts[i].data), parts[i].size, [](void*, void*) {});
            push.send(part, i + 1 < parts.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
        }
        received.clear();
        if (!zmq::recv_multipart(pull, std::back_inserter(received))) state.SkipWithError("message lost");
        benchmark::DoNotOptimize(received);
    }
}

// WireFormat alone: the encoding and decoding that the transport adds to the raw sockets.
template <class Payload>
void Codec(benchmark::State& state, const Payload& payload) {
    const Envelope envelope{"camera", Kind::End, 0, 0, 1};
    for (auto _ : state) benchmark::DoNotOptimize(WireFormat::decode(WireFormat::encode(envelope, payload)));
}

// Registers the transport and its raw baseline for one payload; returns their names.
template <class Payload>
std::pair<std::string, std::string> compare(const std::string& name, const std::string& transport, Payload payload) {
    const std::string ours = name + "/" + transport, raw = "Raw" + name + "/" + transport;
    // Google Benchmark reports a benchmark timed in real time under this name.
    const std::string suffix = "/real_time";
    const Envelope envelope{"camera", Kind::End, 0, 0, 1};
    const auto parts = std::make_shared<std::vector<WireFormat::Part>>(WireFormat::encode(envelope, *payload));
    benchmark::RegisterBenchmark(ours.c_str(), [transport, payload](benchmark::State& state) {
        Transport(state, transport, [&](Sender& sender) { sender.send("camera", *payload); });
    })->UseRealTime();
    benchmark::RegisterBenchmark(raw.c_str(), [transport, parts](benchmark::State& state) {
        Raw(state, transport, *parts);
    })->UseRealTime();
    return {ours + suffix, raw + suffix};
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<BenchRatio> ratios;
    std::vector<BenchDifference> differences;
    for (const char* transport : kTransports) {
        for (const size_t bytes : {size_t{256} << 10, size_t{1} << 20, size_t{8} << 20}) {
            const auto [ours, raw] = compare("Frame" + std::to_string(bytes >> 10) + "KiB", transport,
                                             std::make_shared<Frame>(frame(bytes)));
            // At least 0.9 of the baseline's throughput: at most 1/0.9 of its time per frame.
            ratios.push_back({ours, raw, 1 / 0.9});
        }
        const auto int32 = compare("Int32", transport, std::make_shared<Variant_<int>>(42));
        const auto entries = compare("Storage50", transport, std::make_shared<DataStorage<std::string>>(storage()));
        differences.push_back({int32.first, int32.second, 5.0});
        differences.push_back({entries.first, entries.second, 5.0});
    }
    const auto entries = std::make_shared<DataStorage<std::string>>(storage());
    benchmark::RegisterBenchmark("CodecStorage50", [entries](benchmark::State& state) { Codec(state, *entries); });
    benchmark::RegisterBenchmark("CodecInt32", [](benchmark::State& state) { Codec(state, Variant_<int>(42)); });
    return runBenchmarksWithRatios(argc, argv, ratios, differences);
}
