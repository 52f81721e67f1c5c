// zarvo-inspect's stream commands. They wait in short slices, so that SIGINT and SIGTERM
// end a listen or a recording cleanly: the counters printed, the file flushed and closed.
#include "tools/bytes/StreamView.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>

#include "core/datatypes/UnixTime.h"
#include "tools/bytes/ByteView.h"
#include "tools/bytes/ValueJson.h"
#include "transport/KeyPair.h"
#include "transport/Publisher.h"
#include "transport/Puller.h"
#include "transport/Subscriber.h"
#ifdef ZARVO_INSPECT_HDF5
#include "hdf5/FrameRecorder.h"
#endif

namespace inspect {

namespace {

using zarvo::Exception;
using zarvo::exp::UnixTime;
using zarvo::transport::Kind;
using zarvo::transport::Message;
using zarvo::transport::Receiver;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kSlice{100};

volatile std::sig_atomic_t stopRequested = 0;

// Until destroyed, SIGINT and SIGTERM ask the waiting loop to stop instead of killing the program.
struct StopOnSignal {
    StopOnSignal() {
        stopRequested = 0;
        std::signal(SIGINT, [](int) { stopRequested = 1; });
        std::signal(SIGTERM, [](int) { stopRequested = 1; });
    }
    ~StopOnSignal() {
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
    }
};

template <class Socket>
void open(Socket& socket, const std::string& endpoint) {
    if (!endpoint.empty() && endpoint[0] == '@') socket.bind(endpoint.substr(1));
    else socket.connect(endpoint);
}

std::unique_ptr<Receiver> receiverFor(const StreamSource& source) {
    std::unique_ptr<Receiver> receiver;
    if (source.pull) receiver = std::make_unique<zarvo::transport::Puller>();
    else
        receiver = std::make_unique<zarvo::transport::Subscriber>(source.topics.empty() ? std::vector<std::string>{""}
                                                                                        : source.topics);
    open(*receiver, source.endpoint);
    return receiver;
}

// Calls take(message) for each message until take says stop, the deadline (if any) has
// passed or a signal asked to stop.
template <class Take>
void receiveUntil(Receiver& receiver, std::optional<Clock::time_point> deadline, Take take) {
    StopOnSignal stopOnSignal;
    while (stopRequested == 0) {
        milliseconds slice = kSlice;
        if (deadline) {
            const auto left = std::chrono::duration_cast<milliseconds>(*deadline - Clock::now());
            if (left.count() <= 0) return;
            slice = std::min(slice, left);
        }
        std::optional<Message> message = receiver.receive(slice);
        if (message && !take(*message)) return;
    }
}

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::Value: return "value";
        case Kind::Storage: return "storage";
        case Kind::Frame: return "frame";
        case Kind::End: break;
    }
    return "end";
}

std::string joined(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

std::string summary(const Message& message) {
    switch (message.kind) {
        case Kind::Value: {
            const Shown shown = show(message.value);
            return message.value->getTypeString() + " " + (shown.head.empty() ? joined(shown.lines, "\n") : shown.head);
        }
        case Kind::Storage: {
            std::vector<std::string> keys;
            for (const auto& entry : message.storage) keys.push_back(entry.first);
            return std::to_string(keys.size()) + (keys.size() == 1 ? " entry" : " entries") +
                   (keys.empty() ? "" : ": " + joined(keys, ", "));
        }
        case Kind::Frame: {
            const std::vector<std::string> keys = message.frame.getMetaDataKeys();
            return matrixLine(message.frame.getFrameData()) +
                   (keys.empty() ? "; no metadata" : "; metadata: " + joined(keys, ", "));
        }
        case Kind::End: break;
    }
    return "of stream";
}

template <class T>
std::shared_ptr<zarvo::exp::Variant> held(const T& value) {
    return std::make_shared<zarvo::exp::Variant_<T>>(value);
}

}  // namespace

std::string messageLine(const Message& message) {
    return Exception::printable(message.topic.empty() ? "\"\"" : message.topic) + " #" +
           std::to_string(message.sequence) + " " + UnixTime::isoText(message.sendTime) + " " + kindName(message.kind) +
           " " + Exception::printable(summary(message));
}

std::string messageJson(const Message& message) {
    char sender[17];
    std::snprintf(sender, sizeof sender, "%016llx", static_cast<unsigned long long>(message.sender));
    std::string json = "{\"topic\":" + jsonString(message.topic) + ",\"sequence\":" + std::to_string(message.sequence) +
                       ",\"sendTime\":" + std::to_string(message.sendTime) + ",\"sender\":\"" + sender +
                       "\",\"kind\":\"" + kindName(message.kind) + "\"";
    if (message.kind == Kind::Value)
        json += ",\"type\":" + jsonString(message.value->getTypeString()) +
                ",\"value\":" + toJson(message.value, kJsonOptions);
    if (message.kind == Kind::Storage) json += ",\"value\":" + toJson(message.storage, kJsonOptions);
    if (message.kind == Kind::Frame)
        json += ",\"image\":" + toJson(held(message.frame.getFrameData()), kJsonOptions) +
                ",\"metadata\":" + toJson(message.frame.getMetaData(), kJsonOptions);
    return json + "}";
}

std::string statsText(const zarvo::transport::Stats& stats, bool json) {
    const std::pair<const char*, std::uint64_t> counters[] = {{"received", stats.received},
                                                              {"dropped", stats.dropped},
                                                              {"malformed", stats.malformed},
                                                              {"restarts", stats.restarts}};
    std::string text;
    for (const auto& [name, count] : counters)
        text += json ? (text.empty() ? "" : ",") + ("\"" + std::string(name) + "\":" + std::to_string(count))
                     : (text.empty() ? "" : ", ") + (name + (" " + std::to_string(count)));
    return json ? "{\"stats\":{" + text + "}}" : text;
}

void listen(const StreamSource& source, std::uint64_t count, bool json) {
    const std::unique_ptr<Receiver> receiver = receiverFor(source);
    std::uint64_t seen = 0;
    receiveUntil(*receiver, std::nullopt, [&](const Message& message) {
        std::cout << (json ? messageJson(message) : messageLine(message)) << std::endl;
        return count == 0 || ++seen < count;
    });
    std::cout << statsText(receiver->stats(), json) << std::endl;
}

#ifdef ZARVO_INSPECT_HDF5
void record(const StreamSource& source, const std::string& file, std::uint64_t frames, double seconds) {
    using zarvo::hdf5::FrameRecorder;
    zarvo::hdf5::RecordingFile recording = zarvo::hdf5::RecordingFile::create(file);
    // Topics appear while recording, each a new recording in the file: the file has to
    // take new objects after the first frame, which single-writer mode would refuse.
    FrameRecorder::Options options;
    options.singleWriterMultipleReader = false;
    std::map<std::string, std::unique_ptr<FrameRecorder>> recorders;
    const std::unique_ptr<Receiver> receiver = receiverFor(source);
    std::optional<Clock::time_point> deadline;
    if (seconds > 0)
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::uint64_t recorded = 0, skipped = 0;
    receiveUntil(*receiver, deadline, [&](const Message& message) {
        if (message.kind != Kind::Frame) {
            ++skipped;
            return true;
        }
        std::unique_ptr<FrameRecorder>& recorder = recorders[message.topic];
        if (!recorder)
            recorder =
                std::make_unique<FrameRecorder>(recording, message.topic.empty() ? "stream" : message.topic, options);
        recorder->append(message.frame);
        return frames == 0 || ++recorded < frames;
    });
    for (const auto& [topic, recorder] : recorders) {
        recorder->flush();
        std::cout << Exception::printable(topic.empty() ? "stream" : topic) << ": " << recorder->size()
                  << (recorder->size() == 1 ? " frame\n" : " frames\n");
    }
    recording.close();
    std::cout << statsText(receiver->stats(), false) << (skipped > 0 ? ", not frames " + std::to_string(skipped) : "")
              << "\n";
}
#endif

void send(const std::string& endpoint, const std::string& topic, const std::shared_ptr<zarvo::exp::Variant>& value,
          double waitSeconds) {
    zarvo::transport::Publisher publisher;
    open(publisher, endpoint);
    const auto wait = std::chrono::ceil<milliseconds>(std::chrono::duration<double>(waitSeconds));
    if (!publisher.waitForSubscriber(wait))
        throw std::runtime_error("no subscriber came within " + jsonNumber(waitSeconds) +
                                 " s: nothing sent (--wait S waits longer)");
    publisher.send(topic, *value);
    Message sent;
    sent.topic = topic;
    sent.kind = Kind::Value;
    sent.value = value;
    std::cout << "sent " << Exception::printable(topic.empty() ? "\"\"" : topic) << " value "
              << Exception::printable(summary(sent)) << "\n";
}

void writeKeys(const std::string& name) {
    for (const char* suffix : {".key", ".pub"})
        if (std::filesystem::exists(name + suffix))
            throw std::runtime_error(name + suffix + " exists: no key is replaced");
    zarvo::transport::KeyPair::generate().save(name);
    std::cout << "wrote " << Exception::printable(name) << ".key (secret, readable by its owner only) and "
              << Exception::printable(name) << ".pub\n";
}

}  // namespace inspect
