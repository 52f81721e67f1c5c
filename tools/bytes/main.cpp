// zarvo-inspect: looks into byte forms written by the library (files, captures,
// device dumps) and makes byte forms from text. Everything it reads goes through
// the bounded readers, so a damaged input ends in one line saying where the bytes
// ran out, never in a crash.
//
// Exit codes, the same for every command: 0 done, 1 bad data (one line on standard
// error), 2 usage error (that line and a hint to the command's --help).

#include <cctype>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef ZARVO_INSPECT_PNG
#include <opencv2/imgcodecs.hpp>
#endif

#include "core/datatypes/TypeObject.h"
#include "tools/bytes/ByteView.h"
#include "tools/bytes/CommandLine.h"
#include "tools/bytes/ValueJson.h"
#include "zarvo/version.h"
#ifdef ZARVO_INSPECT_HDF5
#include "tools/bytes/Hdf5View.h"
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
#include "tools/bytes/StreamView.h"
#endif

namespace {

using inspect::CommandLine;
using inspect::Shown;
using inspect::UsageError;
using zarvo::exp::Endian;

// Input past this size is refused: a device or /dev/urandom never ends, and a
// byte form this large is not what anyone looks at by eye.
constexpr size_t kInputLimit = size_t(256) << 20;

const char* const kName = "a registered type name, \"storage\" or a record class name (see 'types')";
const char* const kSwap = "reverses multi-byte fields (default: host order)";

Endian endianOf(bool swap) { return swap ? zarvo::exp::swap : zarvo::exp::no_swap; }

// The library reads and writes an empty matrix vector in either order, since only its
// elements test the order; the inspector, whose user names the order, refuses --swap
// for every type that has the host order only.
void requireByteOrder(bool swap, const std::string& name) {
    if (!swap || !zarvo::exp::TypeObject::findP(name)) return;
    std::shared_ptr<zarvo::exp::Variant> sample;
    try {
        sample = zarvo::exp::Variant::fromString(name, "");
    } catch (const std::exception&) {
        return;  // no text form: the value refuses swap itself
    }
    if (sample && !sample->isSwappable()) throw UsageError(name + " has the host byte order only: no --swap");
}

std::vector<char> readAll(std::istream& in, const std::string& what) {
    std::vector<char> bytes;
    std::vector<char> chunk(size_t(1) << 16);
    while (in.read(chunk.data(), static_cast<std::streamsize>(chunk.size())) || in.gcount() > 0) {
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + in.gcount());
        if (bytes.size() > kInputLimit)
            throw std::runtime_error(what + " holds more than 256 MiB, more than zarvo-inspect reads");
    }
    return bytes;
}

// Pairs of hex digits; blanks and line ends between them are skipped.
std::vector<char> fromHex(const std::vector<char>& text) {
    std::vector<char> bytes;
    int high = -1;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (std::isspace(static_cast<unsigned char>(c))) continue;
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            throw std::runtime_error("hex input holds '" + std::string(1, c) + "' at offset " + std::to_string(i) +
                                     ", not a hex digit");
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::tolower(c) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<char>(high * 16 + digit));
            high = -1;
        }
    }
    if (high >= 0) throw std::runtime_error("hex input ends in the middle of a byte");
    return bytes;
}

std::vector<char> readInput(const std::string& file, bool hex) {
    std::vector<char> input;
    if (file == "-") {
        input = readAll(std::cin, "standard input");
    } else {
        std::ifstream in(file, std::ios::binary);
        if (!in) throw std::runtime_error("cannot open " + file);
        input = readAll(in, file);
    }
    return hex ? fromHex(input) : input;
}

void print(const std::string& label, const Shown& shown) {
    using zarvo::Exception;
    std::cout << Exception::printable(label) << ":"
              << (shown.head.empty() ? "" : " " + Exception::printable(shown.head)) << "\n";
    for (const std::string& line : shown.lines) std::cout << "  " << Exception::printable(line) << "\n";
}

// A count or length read in the wrong byte order mostly announces far more than the
// input holds: when the other order reads the value, say so.
std::string otherOrderHint(const inspect::Reader& reader, Endian endian, const char* data, size_t available) {
    size_t used = 0;
    try {
        reader(endian == zarvo::exp::swap ? zarvo::exp::no_swap : zarvo::exp::swap, data, available, used);
    } catch (const std::exception&) { return ""; }
    return endian == zarvo::exp::swap ? " (without --swap it reads)" : " (with --swap it reads)";
}

#ifdef ZARVO_INSPECT_PNG
// libpng refuses a longer side (its default limit), after printing errors of its own.
constexpr int kPngMaxSide = 1000000;

// Stretches the value range to 0..255 in 8 bits, so any depth gives a visible image.
void writePng(const cv::Mat& matrix, const std::string& path) {
    if (matrix.dims != 2 || matrix.empty())
        throw std::runtime_error("only a non-empty 2-dimensional matrix makes a PNG");
    if (matrix.channels() == 2 || matrix.channels() > 4)
        throw std::runtime_error("a PNG takes 1, 3 or 4 channels, not " + std::to_string(matrix.channels()));
    if (matrix.rows > kPngMaxSide || matrix.cols > kPngMaxSide)
        throw std::runtime_error("a PNG side holds at most 1000000 pixels, the matrix is " +
                                 std::to_string(matrix.rows) + " x " + std::to_string(matrix.cols));
    cv::Mat values = matrix;
    if (values.depth() == CV_16F) values.convertTo(values, CV_32F);  // normalize takes no half floats
    cv::Mat scaled;
    cv::normalize(values, scaled, 0, 255, cv::NORM_MINMAX, CV_8U);
    if (!cv::imwrite(path, scaled)) throw std::runtime_error("cannot write " + path);
}
#endif

struct ReadOptions {
    std::string name;
    std::string file = "-";
    bool swap = false;
    bool all = false;
    bool json = false;
    bool fromHex = false;
    size_t offset = 0;
    std::string png;
};

void readValues(const ReadOptions& options) {
    const std::string& name = options.name;
    if (!options.png.empty() && (name != "cvmat" || options.all))
        throw UsageError("--png goes with 'read cvmat' alone");
    std::shared_ptr<zarvo::exp::Variant> last;
    const inspect::Reader reader = inspect::readerFor(name, &last);
    if (!reader) throw UsageError("unknown name: " + name);
    requireByteOrder(options.swap, name);

    const std::vector<char> input = readInput(options.file, options.fromHex);
    if (options.offset > input.size())
        throw std::runtime_error("offset " + std::to_string(options.offset) + " lies past the end of the input (" +
                                 std::to_string(input.size()) + " bytes)");
    const Endian endian = endianOf(options.swap);
    size_t offset = options.offset;
    size_t used = 0;
    std::string values;  // --json: the values read, as JSON
    do {
        // In --all mode the reader's offsets count from the value's start, so say where that is.
        const std::string at = std::to_string(offset);
        const char* data = input.data() + offset;
        Shown shown;
        try {
            shown = reader(endian, data, input.size() - offset, used);
        } catch (const std::exception& error) {
            throw std::runtime_error((options.all ? "value at offset " + at + ": " : "") + error.what() +
                                     otherOrderHint(reader, endian, data, input.size() - offset));
        }
        if (!options.json) print(options.all ? name + " at " + at : name, shown);
        else if (!options.all) values = shown.json;
        else values += (values.empty() ? "" : ",") + ("{\"offset\":" + at + ",\"value\":" + shown.json + "}");
        offset += used;
    } while (options.all && offset < input.size() && used > 0);
    const size_t available = input.size() - options.offset;
    if (options.json)
        std::cout << "{\"type\":" << inspect::jsonString(name) << (options.all ? ",\"values\":[" : ",\"value\":")
                  << values << (options.all ? "]" : "") << ",\"offset\":" << options.offset
                  << ",\"bytesUsed\":" << offset - options.offset << ",\"bytesAvailable\":" << available << "}\n";
    else
        std::cout << offset - options.offset << " bytes used of " << available
                  << (options.offset == 0 ? "" : " from offset " + std::to_string(options.offset)) << "\n";
#ifdef ZARVO_INSPECT_PNG
    if (!options.png.empty()) writePng(last->value<cv::Mat>(), options.png);
#endif
}

void addRead(CommandLine& line) {
    auto options = std::make_shared<ReadOptions>();
    CLI::App* read = line.add(nullptr, "read", "shows the value a byte form holds and the bytes used",
                              "FILE '-' or none reads standard input; input over 256 MiB is refused.\n"
                              "A matrix also shows the minimum, maximum and mean of each channel.\n",
                              [options] { readValues(*options); });
    line.argument(read, "NAME", options->name, kName);
    line.argument(read, "FILE", options->file, "the byte form (default: standard input)", false);
    read->add_flag("--swap", options->swap, kSwap);
    read->add_flag("--all", options->all, "reads values back to back until the input ends");
    read->add_flag("--json", options->json,
                   "prints one JSON document instead (a matrix's pixels when it holds at most 1024 values)");
    read->add_flag("--from-hex", options->fromHex,
                   "the input is hex text: pairs of hex digits, blanks and line ends skipped");
    line.number(read, "--offset", options->offset, "a number of bytes", "starts reading N bytes into the input")
        ->type_name("N");
#ifdef ZARVO_INSPECT_PNG
    read->add_option("--png", options->png, "(read cvmat only) writes the matrix as a PNG, scaled to 0..255")
        ->type_name("OUT");
#endif
}

struct WriteOptions {
    std::string name;
    std::string text;
    bool swap = false;
    bool hex = false;
};

void writeValue(const WriteOptions& options) {
    bool known = false;
    const inspect::Writer writer = inspect::writerFor(options.name, known);
    if (!known) throw UsageError("unknown name: " + options.name);
    if (!writer) throw UsageError(options.name + " can not be read from text");
    requireByteOrder(options.swap, options.name);
    const std::vector<char> bytes = writer(endianOf(options.swap), options.text);
    if (!options.hex) {
        std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return;
    }
    for (size_t i = 0; i < bytes.size(); ++i)
        std::cout << (i == 0 ? "" : " ") << std::hex << std::setw(2) << std::setfill('0')
                  << static_cast<unsigned>(static_cast<unsigned char>(bytes[i]));
    std::cout << "\n";
}

void addWrite(CommandLine& line) {
    auto options = std::make_shared<WriteOptions>();
    CLI::App* write = line.add(nullptr, "write", "prints the byte form of a value given as text",
                               "TEXT is read as exactly one value, as 'read' shows it; anything else is refused.\n",
                               [options] { writeValue(*options); });
    line.argument(write, "NAME", options->name, kName);
    line.argument(write, "TEXT", options->text, "the value, as 'read' shows it");
    write->add_flag("--swap", options->swap, kSwap);
    write->add_flag("--hex", options->hex, "prints hex digits instead of the raw bytes");
}

void addTypes(CommandLine& line) {
    auto table = [](const std::vector<inspect::TypeRow>& rows) {
        std::cout << std::left << std::setw(16) << "name" << std::setw(38) << "C++ type" << std::setw(40) << "byte form"
                  << "text form\n";
        for (const inspect::TypeRow& row : rows)
            std::cout << std::setw(16) << row.name << std::setw(38) << row.cppType << std::setw(40) << row.byteForm
                      << row.textForm << "\n";
    };
    line.add(nullptr, "types", "lists the names read and write know: registered types, then records", "", [table] {
        table(inspect::registeredTypes());
        std::cout << "\nrecords, read by class name:\n";
        table(inspect::recordTypes());
    });
}

#ifdef ZARVO_INSPECT_HDF5
// h5's usage errors come as std::invalid_argument, apart from a file that cannot be read.
CommandLine::Run usageChecked(CommandLine::Run run) {
    return [run] {
        try {
            run();
        } catch (const std::invalid_argument& error) { throw UsageError(error.what()); }
    };
}

void addH5(CommandLine& line) {
    CLI::App* h5 = line.add(nullptr, "h5", "looks into HDF5 files the library wrote", "", nullptr);
    h5->require_subcommand(1);
    auto file = std::make_shared<std::string>();
    CLI::App* list = line.add(h5, "list", "lists every object: path, registered name and shape", "",
                              usageChecked([file] { inspect::listH5(*file); }));
    line.argument(list, "FILE", *file, "the HDF5 file");
    CLI::App* summary = line.add(h5, "summary", "shows each recording: frames, image, compression and timestamps", "",
                                 usageChecked([file] { inspect::summarizeH5(*file); }));
    line.argument(summary, "FILE", *file, "the HDF5 file");
    auto path = std::make_shared<std::string>();
    auto options = std::make_shared<inspect::H5PrintOptions>();
    CLI::App* print = line.add(h5, "print", "prints one object; a per-frame dataset frame by frame", "",
                               usageChecked([file, path, options] { inspect::printH5(*file, *path, *options); }));
    line.argument(print, "FILE", *file, "the HDF5 file");
    line.argument(print, "PATH", *path, "the object's path in the file");
    print
        ->add_option_function<std::string>(
            "--frames",
            [options](const std::string& range) {
                options->frames = true;
                options->range = range;
            },
            "frames from A up to B (excluded) of a per-frame dataset; either end may be left out")
        ->type_name("A:B");
    print->add_flag("--json", options->json, "prints one JSON document instead");
}
#endif

#ifdef ZARVO_INSPECT_TRANSPORT
const char* const kEndpoint = "where to connect to; with @ first, where to bind (@tcp://*:5555)";
const char* const kTopics = "topic prefixes to subscribe to (none: every topic)";
const char* const kPull = "takes its share of a pipeline instead of subscribing (no TOPIC)";

struct ListenOptions {
    inspect::StreamSource source;
    std::uint64_t count = 0;
    bool json = false;
};

void addListen(CommandLine& line) {
    auto options = std::make_shared<ListenOptions>();
    CLI::App* listen = line.add(nullptr, "listen", "prints one line per message of a live stream, then the counters",
                                "Runs until N messages came or SIGINT/SIGTERM.\n", [options] {
                                    const ListenOptions& o = *options;
                                    if (o.source.pull && !o.source.topics.empty())
                                        throw UsageError("--pull takes no TOPIC: a pipeline has all");
                                    inspect::listen(o.source, o.count, o.json);
                                });
    line.argument(listen, "ENDPOINT", options->source.endpoint, kEndpoint);
    line.argument(listen, "TOPIC", options->source.topics, kTopics, false);
    line.number(listen, "--count", options->count, "a whole number", "stops after N messages")->type_name("N");
    listen->add_flag("--json", options->json, "prints one JSON object per message and for the counters");
    listen->add_flag("--pull", options->source.pull, kPull);
}

#ifdef ZARVO_INSPECT_HDF5
struct RecordOptions {
    inspect::StreamSource source;
    std::string file;
    std::uint64_t frames = 0;
    double seconds = 0;
    CLI::Option* secondsGiven = nullptr;
};

void addRecord(CommandLine& line) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* record =
        line.add(nullptr, "record", "records each topic's frames into FILE.h5, a recording at the topic's path",
                 "Runs until N frames came, S seconds passed or SIGINT/SIGTERM.\n", [options] {
                     const RecordOptions& o = *options;
                     if (o.source.pull && !o.source.topics.empty())
                         throw UsageError("--pull takes no TOPIC: a pipeline has all");
                     if (o.secondsGiven->count() > 0 && o.frames > 0)
                         throw UsageError("record takes --frames N or --seconds S, not both");
                     inspect::record(o.source, o.file, o.frames, o.seconds);
                 });
    line.argument(record, "ENDPOINT", options->source.endpoint, kEndpoint);
    line.argument(record, "FILE.h5", options->file, "the HDF5 file to write (created or replaced)");
    line.argument(record, "TOPIC", options->source.topics, kTopics, false);
    line.number(record, "--frames", options->frames, "a whole number", "stops after N frames")->type_name("N");
    options->secondsGiven =
        line.number(record, "--seconds", options->seconds, "seconds", "stops after S seconds")->type_name("S");
    record->add_flag("--pull", options->source.pull, kPull);
}
#endif

struct SendOptions {
    std::string endpoint;
    std::string topic;
    std::string name;
    std::string text;
    double wait = 1;
};

void addSend(CommandLine& line) {
    auto options = std::make_shared<SendOptions>();
    CLI::App* send =
        line.add(nullptr, "send", "publishes TEXT, read strictly as NAME, once a subscriber joined", "", [options] {
            const SendOptions& o = *options;
            if (!zarvo::exp::TypeObject::findP(o.name)) throw UsageError("unknown name: " + o.name);
            const auto value = zarvo::exp::Variant::parse(o.name, o.text);
            if (!value) throw UsageError(o.name + " holds no value to send");
            inspect::send(o.endpoint, o.topic, value, o.wait);
        });
    line.argument(send, "ENDPOINT", options->endpoint, kEndpoint);
    line.argument(send, "TOPIC", options->topic, "the topic to publish on");
    line.argument(send, "NAME", options->name, "a registered type name");
    line.argument(send, "TEXT", options->text, "the value, read as exactly one NAME");
    line.number(send, "--wait", options->wait, "seconds", "waits at most S seconds for a subscriber (default 1)")
        ->type_name("S");
}

void addKeys(CommandLine& line) {
    auto name = std::make_shared<std::string>();
    CLI::App* keys = line.add(nullptr, "keys", "writes a CURVE key pair: NAME.key (secret, owner only) and NAME.pub",
                              "An existing key is never replaced.\n", [name] { inspect::writeKeys(*name); });
    line.argument(keys, "NAME", *name, "the files' name, without .key or .pub");
}
#endif

}  // namespace

int main(int argc, char** argv) {
    CommandLine line(
        "zarvo-inspect looks into byte forms written by the library (files, captures, device dumps),\n"
        "into HDF5 recordings and live streams, and makes byte forms from text.\n",
        "NAME is a registered type name, \"storage\" or a record class name (see 'types').\n"
        "'zarvo-inspect COMMAND --help' shows a command's usage.\n"
        "Exit codes: 0 done, 1 bad data, 2 usage error.\n",
        "zarvo-inspect " ZARVO_DATATYPES_VERSION_STRING);
    addRead(line);
    addWrite(line);
    addTypes(line);
#ifdef ZARVO_INSPECT_HDF5
    addH5(line);
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
    addListen(line);
#ifdef ZARVO_INSPECT_HDF5
    addRecord(line);
#endif
    addSend(line);
    addKeys(line);
#endif
    return line.run(argc, argv);
}
