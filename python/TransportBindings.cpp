// The transport in Python: the four sockets of zarvo_transport, and its wire codec for
// people who keep their own ZeroMQ sockets (pyzmq, asyncio). Every byte goes through the
// C++ WireFormat, so both languages read and write one layout.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/datatypes/UnixTime.h"
#include "python/Bindings.h"
#include "transport/Deadline.h"
#include "transport/KeyPair.h"
#include "transport/Publisher.h"
#include "transport/Puller.h"
#include "transport/Pusher.h"
#include "transport/Subscriber.h"
#include "transport/WireFormat.h"

namespace zarvo::python {

using namespace pybind11::literals;
using namespace zarvo::transport;
using std::chrono::milliseconds;
using Storage = exp::DataStorage<std::string>;

namespace {

// A wait is cut into slices this long, the GIL released in each: other threads run, and
// Ctrl-C ends a long wait between two slices.
constexpr milliseconds kSlice{100};

// Seconds as Python's own APIs take them (None: for ever) as the library's milliseconds
// (negative: for ever), rounded up so that a short wait never becomes no wait.
milliseconds durationOf(std::optional<double> seconds, const char* what) {
    if (!seconds) return milliseconds(-1);
    const double value = *seconds;
    if (!(value >= 0)) raise(PyExc_ValueError, std::string(what) + " is None or a number of seconds >= 0");
    const double ms = std::ceil(value * 1000.0);
    return milliseconds(ms >= double(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max()
                                                                      : static_cast<std::int64_t>(ms));
}

// Calls attempt(slice) with the GIL released until it gives a result or timeout has passed.
template <class Attempt>
auto waitInSlices(std::optional<double> seconds, Attempt attempt) {
    const Deadline deadline(durationOf(seconds, "timeout"));
    for (;;) {
        const milliseconds left = deadline.left();
        const milliseconds slice = left.count() < 0 ? kSlice : std::min(left, kSlice);
        decltype(attempt(slice)) result;
        {
            py::gil_scoped_release release;
            result = attempt(slice);
        }
        if (result) return result;
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (deadline.passed()) return result;
    }
}

Options optionsOf(int sendHighWaterMark, int receiveHighWaterMark, std::optional<double> linger,
                  std::optional<double> sendTimeout, std::int64_t maxMessageSize, std::optional<KeyPair> serverKey,
                  std::string serverPublicKey, std::optional<KeyPair> clientKey, std::vector<std::string> allowed) {
    Options options;
    options.sendHighWaterMark = sendHighWaterMark;
    options.receiveHighWaterMark = receiveHighWaterMark;
    options.linger = durationOf(linger, "linger");
    options.sendTimeout = durationOf(sendTimeout, "send_timeout");
    options.maxMessageSize = maxMessageSize;
    options.security.server = std::move(serverKey);
    options.security.serverPublicKey = std::move(serverPublicKey);
    options.security.client = std::move(clientKey);
    options.security.allowedClients = std::move(allowed);
    return options;
}

// The constructor of Socket from leading arguments Lead (a subscriber's prefixes) and the
// options as keywords; every socket takes the same ones, with the C++ defaults.
template <class Socket, class... Lead, class Class, class... LeadArgs>
void defConstructor(Class& cls, const char* doc, LeadArgs... leadArgs) {
    const Options defaults;
    cls.def(
        py::init([](Lead... lead, int sendHwm, int receiveHwm, std::optional<double> linger,
                    std::optional<double> sendTimeout, std::int64_t maxSize, std::optional<KeyPair> serverKey,
                    std::string serverPublicKey, std::optional<KeyPair> clientKey, std::vector<std::string> allowed) {
            return std::make_unique<Socket>(
                lead..., optionsOf(sendHwm, receiveHwm, linger, sendTimeout, maxSize, std::move(serverKey),
                                   std::move(serverPublicKey), std::move(clientKey), std::move(allowed)));
        }),
        leadArgs..., py::kw_only(), "send_high_water_mark"_a = defaults.sendHighWaterMark,
        "receive_high_water_mark"_a = defaults.receiveHighWaterMark,
        "linger"_a = double(defaults.linger.count()) / 1000.0,
        "send_timeout"_a = double(defaults.sendTimeout.count()) / 1000.0,
        "max_message_size"_a = defaults.maxMessageSize, "server_key"_a = py::none(), "server_public_key"_a = "",
        "client_key"_a = py::none(), "allowed_clients"_a = std::vector<std::string>{}, doc);
}

// Calls act with the payload object is: a Variant, a DataStorage or a Frame; None when
// allowEnd (the end of a stream) calls end().
template <class Act, class End>
auto withPayload(py::handle object, const char* what, Act act, End end, bool allowEnd) {
    if (py::isinstance<exp::Variant>(object)) return act(*object.cast<std::shared_ptr<exp::Variant>>());
    if (py::isinstance<Storage>(object)) return act(object.cast<const Storage&>());
    if (py::isinstance<exp::Frame>(object)) return act(object.cast<const exp::Frame&>());
    if (allowEnd && object.is_none()) return end();
    raise(PyExc_TypeError, std::string(what) + " takes a Variant, a DataStorage or a Frame" +
                               (allowEnd ? " (None: end of stream)" : "") + ", not " +
                               py::str(py::type::handle_of(object).attr("__name__")).cast<std::string>());
}

// A read-only memoryview over a part. One with an owner shares its bytes (the pixels of a
// frame, not copied) and keeps the owner alive; one without is copied, since its bytes
// live only through the encoding call.
py::memoryview viewOf(const WireFormat::Part& part) {
    if (!part.owner) return py::memoryview(py::bytes(part.data, part.size));
    auto* owner = new std::shared_ptr<const void>(part.owner);
    py::capsule keep(owner, [](void* held) { delete static_cast<std::shared_ptr<const void>*>(held); });
    py::array_t<std::uint8_t> bytes({static_cast<py::ssize_t>(part.size)}, {py::ssize_t(1)},
                                    reinterpret_cast<const std::uint8_t*>(part.data), keep);
    bytes.attr("setflags")("write"_a = false);
    return py::memoryview(bytes);
}

py::list encode(const std::string& topic, py::handle object, std::uint64_t sequence,
                const std::optional<std::int64_t>& sendTime, std::uint64_t sender) {
    Envelope envelope;
    envelope.topic = topic;
    envelope.sequence = sequence;
    envelope.sendTime = sendTime ? *sendTime : exp::UnixTime::nowNanoseconds();
    envelope.sender = sender;
    const std::vector<WireFormat::Part> parts = withPayload(
        object, "encode", [&](const auto& payload) { return WireFormat::encode(envelope, payload); },
        [&] { return WireFormat::encodeEnd(envelope); }, true);
    py::list views;
    for (const WireFormat::Part& part : parts) views.append(viewOf(part));
    return views;
}

Message decode(const py::iterable& objects) {
    std::vector<WireFormat::Part> parts;
    for (py::handle object : objects) {
        // The buffer is held, and released under the GIL, for as long as a matrix shares it.
        std::shared_ptr<const ByteInput> input(new ByteInput(object), [](const ByteInput* held) {
            py::gil_scoped_acquire gil;
            delete held;
        });
        parts.push_back({input->data(), input->size(), input});
    }
    return WireFormat::decode(parts);
}

py::object payloadOf(py::object self) {
    auto& message = self.cast<Message&>();
    switch (message.kind) {
        case Kind::Value: return py::cast(message.value);
        case Kind::Storage: return py::cast(&message.storage, py::return_value_policy::reference_internal, self);
        case Kind::Frame: return py::cast(&message.frame, py::return_value_policy::reference_internal, self);
        case Kind::End: break;
    }
    return py::none();
}

}  // namespace

void bindTransport(py::module_& module) {
    py::enum_<Kind>(module, "MessageKind", "What a message carries: its kind byte on the wire.")
        .value("value", Kind::Value, "A registered value (Message.value).")
        .value("storage", Kind::Storage, "A DataStorage (Message.storage).")
        .value("frame", Kind::Frame, "A Frame (Message.frame).")
        .value("end", Kind::End, "The end of a topic's stream: no payload.");

    py::class_<Message>(module, "Message",
                        "A received or decoded message: where it stands in its stream, and its one payload.")
        .def_property_readonly(
            "topic", [](const Message& message) { return textOf(message.topic); },
            "The topic (bytes that are not UTF-8 as surrogate escapes, like all text of the module).")
        .def_readonly("kind", &Message::kind, "What the payload is.")
        .def_readonly("sequence", &Message::sequence, "Per topic and sender, from 0, one up per message sent.")
        .def_readonly("send_time", &Message::sendTime, "Nanoseconds since the Unix epoch, on the sender's clock.")
        .def_readonly("sender", &Message::sender, "Id of the sending instance: a new one after each restart.")
        .def_property_readonly(
            "value", [](const Message& message) { return message.kind == Kind::Value ? message.value : nullptr; },
            "The Variant of a value message, else None.")
        .def_property_readonly(
            "storage",
            [](py::object self) {
                return self.cast<Message&>().kind == Kind::Storage ? payloadOf(self) : py::object(py::none());
            },
            "The DataStorage of a storage message (part of this message), else None.")
        .def_property_readonly(
            "frame",
            [](py::object self) {
                return self.cast<Message&>().kind == Kind::Frame ? payloadOf(self) : py::object(py::none());
            },
            "The Frame of a frame message, else None. Its image is a numpy array over the received buffer, "
            "no copy.")
        .def_property_readonly("payload", &payloadOf, "The value, storage or frame; None for the end of a stream.")
        .def("__repr__", [](const Message& message) {
            return "<Message " + py::cast(message.kind).attr("name").cast<std::string>() + " '" +
                   Exception::printable(message.topic) + "' #" + std::to_string(message.sequence) + ">";
        });

    py::class_<Stats>(module, "Stats", "What a receiving socket has counted since it was made.")
        .def_readonly("received", &Stats::received, "Messages handed out (or passed over by receive_latest).")
        .def_readonly("dropped", &Stats::dropped, "Messages missed, from the sequence gaps per topic and sender.")
        .def_readonly("malformed", &Stats::malformed, "Messages refused by the decoder and skipped.")
        .def_readonly("restarts", &Stats::restarts, "Times a topic's sender id changed: a restarted sender.")
        .def("__repr__", [](const Stats& stats) {
            return "Stats(received=" + std::to_string(stats.received) + ", dropped=" + std::to_string(stats.dropped) +
                   ", malformed=" + std::to_string(stats.malformed) + ", restarts=" + std::to_string(stats.restarts) +
                   ")";
        });

    py::class_<KeyPair>(module, "KeyPair", "A CURVE key pair in ZeroMQ's Z85 text (40 characters each).")
        .def(py::init([](std::string publicKey, std::string secretKey) {
                 return KeyPair{std::move(publicKey), std::move(secretKey)};
             }),
             "public_key"_a, "secret_key"_a, "A pair of the two keys' Z85 texts.")
        .def_static("generate", &KeyPair::generate, "A new random pair.")
        .def_static("load", &KeyPair::load, "name"_a,
                    "Reads NAME.pub and NAME.key (the secret); Error if either is missing or not a key.")
        .def_static("load_public", &KeyPair::loadPublic, "path"_a,
                    "Reads a public key from a file holding its Z85 text; Error if it is not one.")
        .def("save", &KeyPair::save, "name"_a,
             "Writes NAME.pub and NAME.key, the secret readable and writable by its owner only.")
        .def_readwrite("public_key", &KeyPair::publicKey, "Z85, 40 characters.")
        .def_readwrite("secret_key", &KeyPair::secretKey, "Z85, 40 characters.")
        .def("__repr__", [](const KeyPair& keys) { return "<KeyPair public " + keys.publicKey + ">"; });

    py::class_<Sender> sender(module, "Sender",
                              "What Publisher and Pusher share. One thread at a time, like a ZeroMQ socket.");
    sender
        .def("bind", &Sender::bind, "endpoint"_a,
             "Binds to endpoint and returns the bound one ('tcp://127.0.0.1:*' gets a port from the OS).")
        .def("connect", &Sender::connect, "endpoint"_a,
             "Connects to endpoint; ZeroMQ reconnects by itself after a cut.")
        .def(
            "send",
            [](Sender& self, const std::string& topic, py::handle object) {
                withPayload(
                    object, "send",
                    [&](const auto& payload) {
                        py::gil_scoped_release release;
                        self.send(topic, payload);
                    },
                    [] {}, false);
            },
            "topic"_a, "obj"_a,
            "Sends a Variant, a DataStorage or a Frame (its pixels without a copy) on topic. A Pusher's send that "
            "no puller takes within send_timeout raises Error; the GIL is released meanwhile.")
        .def("send_end", &Sender::sendEnd, "topic"_a, "Sends the end of topic's stream.",
             py::call_guard<py::gil_scoped_release>())
        .def_property_readonly("sender_id", &Sender::senderId,
                               "This instance's id, carried by every message it sends.");

    py::class_<Receiver> receiver(module, "Receiver",
                                  "What Subscriber and Puller share. One thread at a time, like a ZeroMQ socket.");
    receiver
        .def("bind", &Receiver::bind, "endpoint"_a,
             "Binds to endpoint and returns the bound one ('tcp://127.0.0.1:*' gets a port from the OS).")
        .def("connect", &Receiver::connect, "endpoint"_a,
             "Connects to endpoint; ZeroMQ reconnects by itself after a cut.")
        .def(
            "receive",
            [](Receiver& self, std::optional<double> timeout) {
                return waitInSlices(timeout, [&](milliseconds slice) { return self.receive(slice); });
            },
            "timeout"_a = py::none(),
            "The next well-formed Message, or None after timeout seconds (None: waits for ever). Malformed "
            "messages are counted and skipped. The GIL is released while waiting.")
        .def(
            "receive_latest",
            [](Receiver& self, std::optional<double> timeout) {
                return waitInSlices(timeout, [&](milliseconds slice) { return self.receiveLatest(slice); });
            },
            "timeout"_a = py::none(),
            "Waits like receive for a first message, then drains what is queued and returns the newest; those "
            "passed over count as received.")
        .def("stats", &Receiver::stats, "The counters so far.");

    py::class_<Publisher, Sender> publisher(
        module, "Publisher",
        "The sending side of a live stream (PUB/SUB): a subscriber that falls behind loses "
        "messages, and counts them.");
    defConstructor<Publisher>(publisher,
                              "A publisher; bind or connect it next. Times are in seconds (None: for ever).");
    publisher.def(
        "wait_for_subscriber",
        [](Publisher& self, std::optional<double> timeout) {
            return waitInSlices(timeout, [&](milliseconds slice) { return self.waitForSubscriber(slice); });
        },
        "timeout"_a = py::none(),
        "Waits up to timeout seconds until a subscriber has joined; True if one has. Sending before then loses "
        "the message (ZeroMQ's slow joiner).");

    py::class_<Pusher, Sender> pusher(module, "Pusher",
                                      "The sending side of a lossless pipeline (PUSH/PULL): each message goes to "
                                      "exactly one puller.");
    defConstructor<Pusher>(pusher, "A pusher; bind or connect it next. Times are in seconds (None: for ever).");

    py::class_<Subscriber, Receiver> subscriber(
        module, "Subscriber",
        "The receiving side of a live stream: gets the topics starting with one of its "
        "prefixes, and counts what it missed.");
    defConstructor<Subscriber, const std::vector<std::string>&>(
        subscriber, "A subscriber to the topics starting with one of prefixes ('' is every topic).",
        "prefixes"_a = std::vector<std::string>{""});
    subscriber.def("subscribe", &Subscriber::subscribe, "prefix"_a, "Adds a topic prefix.")
        .def("unsubscribe", &Subscriber::unsubscribe, "prefix"_a, "Removes a topic prefix added before.");

    py::class_<Puller, Receiver> puller(module, "Puller",
                                        "The receiving side of a lossless pipeline: several pullers share a stream, "
                                        "each message reaching exactly one of them.");
    defConstructor<Puller>(puller, "A puller; bind or connect it next. Times are in seconds (None: for ever).");

    module.def("encode", &encode, "topic"_a, "obj"_a, py::kw_only(), "sequence"_a = 0, "send_time"_a = py::none(),
               "sender"_a = 0,
               "The parts of a message as read-only memoryviews, for a socket of one's own (pyzmq's "
               "send_multipart). obj is a Variant, a DataStorage, a Frame (its pixels shared, not copied) or None "
               "for the end of a stream; send_time in nanoseconds since the Unix epoch (None: now). The caller "
               "numbers the messages of each topic from 0 and keeps one sender id per sending instance.");
    module.def("decode", &decode, "parts"_a,
               "A Message from its parts, any objects with the buffer protocol (bytes, pyzmq Frames). A frame's "
               "image stays in its part's buffer, which it keeps alive. Error says what is wrong with a message "
               "the layout refuses.");
}

}  // namespace zarvo::python
