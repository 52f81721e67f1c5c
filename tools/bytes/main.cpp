// zarvo-inspect: looks into byte forms written by the library (files, captures,
// device dumps) and makes byte forms from text. Everything it reads goes through
// the bounded readers, so a damaged input ends in one line saying where the bytes
// ran out, never in a crash.
//
// Exit codes, the same for every command: 0 done, 1 bad data (one line on standard
// error), 2 usage error (that line and the usage text).

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#ifdef ZARVO_INSPECT_PNG
#include <opencv2/imgcodecs.hpp>
#endif

#include "core/datatypes/TypeObject.h"
#include "tools/bytes/ByteView.h"
#include "tools/bytes/ValueJson.h"
#include "zarvo/version.h"
#ifdef ZARVO_INSPECT_HDF5
#include "tools/bytes/Hdf5View.h"
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
#include "tools/bytes/StreamView.h"
#endif

namespace {

using inspect::Shown;
using zarvo::exp::Endian;

/// A command line that makes no sense: reported with the usage text, exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Input past this size is refused: a device or /dev/urandom never ends, and a
// byte form this large is not what anyone looks at by eye.
constexpr size_t kInputLimit = size_t(256) << 20;

const char* const kUsage =
    "usage: zarvo-inspect read NAME [--swap] [--all] [--json] [--from-hex] [--offset N]"
#ifdef ZARVO_INSPECT_PNG
    " [--png OUT]"
#endif
    " [FILE]\n"
    "       zarvo-inspect write NAME TEXT [--swap] [--hex]\n"
    "       zarvo-inspect types\n"
#ifdef ZARVO_INSPECT_HDF5
    "       zarvo-inspect h5 list FILE | h5 summary FILE | h5 print FILE PATH [--frames A:B] [--json]\n"
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
    "       zarvo-inspect listen ENDPOINT [TOPIC...] [--count N] [--json] [--pull]\n"
#ifdef ZARVO_INSPECT_HDF5
    "       zarvo-inspect record ENDPOINT FILE.h5 [TOPIC...] [--frames N | --seconds S] [--pull]\n"
#endif
    "       zarvo-inspect send ENDPOINT TOPIC NAME TEXT [--wait S]\n"
    "       zarvo-inspect keys NAME\n"
#endif
    "       zarvo-inspect --version | --help\n"
    "NAME is a registered type name, \"storage\" or a record class name (see 'types').\n"
    "read shows the value in FILE (or standard input, also for FILE '-') and the bytes used;\n"
    "a matrix also shows the minimum, maximum and mean of each channel. Input over 256 MiB is refused.\n"
    "  --all         reads values back to back until the input ends\n"
    "  --json        prints one JSON document instead (a matrix's pixels when it holds at most 1024 values)\n"
    "  --from-hex    the input is hex text: pairs of hex digits, blanks and line ends skipped\n"
    "  --offset N    starts reading N bytes into the input\n"
#ifdef ZARVO_INSPECT_PNG
    "  --png OUT     (read cvmat only) writes the matrix as a PNG, scaled to 0..255\n"
#endif
#ifdef ZARVO_INSPECT_HDF5
    "h5 looks into HDF5 files the library wrote: list every object, summary of each recording\n"
    "(frames, compression, timestamps), print one object; a per-frame dataset frame by frame,\n"
    "--frames A:B from frame A up to B (excluded).\n"
#endif
    "write reads TEXT as exactly one value (as 'read' shows it; anything else is refused) and\n"
    "prints its byte form, raw or with --hex as hex digits.\n"
    "--swap reverses multi-byte fields (default: host order).\n"
#ifdef ZARVO_INSPECT_TRANSPORT
    "listen prints one line per message (topic, sequence, send time, kind, summary; --json: one JSON\n"
    "object) until N came or SIGINT, then the counters. It subscribes to the TOPIC prefixes (none: all),\n"
    "or with --pull takes its share of a pipeline."
#ifdef ZARVO_INSPECT_HDF5
    " record writes each topic's frames to FILE.h5 as a\n"
    "recording at the topic's path, until N frames came, S seconds passed or SIGINT."
#endif
    "\nAn ENDPOINT starting with @ is bound (@tcp://*:5555), any other is connected to.\n"
    "send publishes TEXT read strictly as NAME once a subscriber joined (--wait S, default 1 s).\n"
    "keys writes a CURVE key pair: NAME.key (secret, owner only) and NAME.pub.\n"
#endif
    "Exit codes: 0 done, 1 bad data, 2 usage error.\n";

struct Options {
    std::vector<std::string> positional;
    bool swap = false;
    bool all = false;
    bool hex = false;
    bool json = false;
    bool fromHex = false;
    size_t offset = 0;
    std::string png;
    bool pull = false;
    std::uint64_t count = 0;   // --count and --frames
    double seconds = 0;        // --seconds
    double wait = 1;           // --wait
    bool limitBySeconds = false;
};

// The number after option, a whole one or seconds by T, never negative; what names it in the error.
template <class T>
T numberAfter(const std::string& option, const char* what, const std::string& number) {
    T value{};
    const auto end = number.data() + number.size();
    const auto result = std::from_chars(number.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || number.empty() || !(value >= 0))
        throw UsageError(option + " takes " + what + ", not " + number);
    return value;
}

// Splits the arguments after the command; allowed lists the options the command takes.
Options parse(int argc, char** argv, const std::vector<std::string>& allowed) {
    Options options;
    auto valueOf = [&](int& i, const std::string& option) -> std::string {
        if (++i == argc) throw UsageError(option + " needs a value");
        return argv[i];
    };
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
            options.positional.push_back(arg);
            continue;
        }
        if (std::find(allowed.begin(), allowed.end(), arg) == allowed.end())
            throw UsageError("unknown option for '" + std::string(argv[1]) + "': " + arg);
        if (arg == "--swap") options.swap = true;
        if (arg == "--all") options.all = true;
        if (arg == "--hex") options.hex = true;
        if (arg == "--json") options.json = true;
        if (arg == "--from-hex") options.fromHex = true;
        if (arg == "--png") options.png = valueOf(i, arg);
        if (arg == "--pull") options.pull = true;
        if (arg == "--offset") options.offset = numberAfter<size_t>(arg, "a number of bytes", valueOf(i, arg));
        if (arg == "--count" || arg == "--frames") options.count = numberAfter<std::uint64_t>(arg, "a whole number", valueOf(i, arg));
        if (arg == "--wait") options.wait = numberAfter<double>(arg, "seconds", valueOf(i, arg));
        if (arg == "--seconds") {
            options.seconds = numberAfter<double>(arg, "seconds", valueOf(i, arg));
            options.limitBySeconds = true;
        }
    }
    return options;
}

Endian endianOf(const Options& options) { return options.swap ? zarvo::exp::swap : zarvo::exp::no_swap; }

// The library reads and writes an empty matrix vector in either order, since only its
// elements test the order; the inspector, whose user names the order, refuses --swap
// for every type that has the host order only.
void requireByteOrder(const Options& options, const std::string& name) {
    if (!options.swap || !zarvo::exp::TypeObject::findP(name)) return;
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
        if (bytes.size() > kInputLimit) throw std::runtime_error(what + " holds more than 256 MiB, more than zarvo-inspect reads");
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
    std::cout << Exception::printable(label) << ":" << (shown.head.empty() ? "" : " " + Exception::printable(shown.head))
              << "\n";
    for (const std::string& line : shown.lines) std::cout << "  " << Exception::printable(line) << "\n";
}

// A count or length read in the wrong byte order mostly announces far more than the
// input holds: when the other order reads the value, say so.
std::string otherOrderHint(const inspect::Reader& reader, Endian endian, const char* data, size_t available) {
    size_t used = 0;
    try {
        reader(endian == zarvo::exp::swap ? zarvo::exp::no_swap : zarvo::exp::swap, data, available, used);
    } catch (const std::exception&) {
        return "";
    }
    return endian == zarvo::exp::swap ? " (without --swap it reads)" : " (with --swap it reads)";
}

#ifdef ZARVO_INSPECT_PNG
// libpng refuses a longer side (its default limit), after printing errors of its own.
constexpr int kPngMaxSide = 1000000;

// Stretches the value range to 0..255 in 8 bits, so any depth gives a visible image.
void writePng(const cv::Mat& matrix, const std::string& path) {
    if (matrix.dims != 2 || matrix.empty()) throw std::runtime_error("only a non-empty 2-dimensional matrix makes a PNG");
    if (matrix.channels() == 2 || matrix.channels() > 4)
        throw std::runtime_error("a PNG takes 1, 3 or 4 channels, not " + std::to_string(matrix.channels()));
    if (matrix.rows > kPngMaxSide || matrix.cols > kPngMaxSide)
        throw std::runtime_error("a PNG side holds at most 1000000 pixels, the matrix is " + std::to_string(matrix.rows) +
                                 " x " + std::to_string(matrix.cols));
    cv::Mat values = matrix;
    if (values.depth() == CV_16F) values.convertTo(values, CV_32F);  // normalize takes no half floats
    cv::Mat scaled;
    cv::normalize(values, scaled, 0, 255, cv::NORM_MINMAX, CV_8U);
    if (!cv::imwrite(path, scaled)) throw std::runtime_error("cannot write " + path);
}
#endif

int read(int argc, char** argv) {
    const Options options = parse(argc, argv, {"--swap", "--all", "--json", "--from-hex", "--offset",
#ifdef ZARVO_INSPECT_PNG
                                               "--png"
#endif
                                              });
    if (options.positional.empty() || options.positional.size() > 2) throw UsageError("read takes NAME [FILE]");
    const std::string& name = options.positional[0];
    if (!options.png.empty() && (name != "cvmat" || options.all)) throw UsageError("--png goes with 'read cvmat' alone");
    std::shared_ptr<zarvo::exp::Variant> last;
    const inspect::Reader reader = inspect::readerFor(name, &last);
    if (!reader) throw UsageError("unknown name: " + name);
    requireByteOrder(options, name);

    const std::vector<char> input =
        readInput(options.positional.size() == 2 ? options.positional[1] : "-", options.fromHex);
    if (options.offset > input.size())
        throw std::runtime_error("offset " + std::to_string(options.offset) + " lies past the end of the input (" +
                                 std::to_string(input.size()) + " bytes)");
    size_t offset = options.offset;
    size_t used = 0;
    std::string values;  // --json: the values read, as JSON
    do {
        // In --all mode the reader's offsets count from the value's start, so say where that is.
        const std::string at = std::to_string(offset);
        const char* data = input.data() + offset;
        Shown shown;
        try {
            shown = reader(endianOf(options), data, input.size() - offset, used);
        } catch (const std::exception& error) {
            throw std::runtime_error((options.all ? "value at offset " + at + ": " : "") + error.what() +
                                     otherOrderHint(reader, endianOf(options), data, input.size() - offset));
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
    return 0;
}

int write(int argc, char** argv) {
    const Options options = parse(argc, argv, {"--swap", "--hex"});
    if (options.positional.size() != 2) throw UsageError("write takes NAME TEXT");
    bool known = false;
    const inspect::Writer writer = inspect::writerFor(options.positional[0], known);
    if (!known) throw UsageError("unknown name: " + options.positional[0]);
    if (!writer) throw UsageError(options.positional[0] + " can not be read from text");
    requireByteOrder(options, options.positional[0]);
    const std::vector<char> bytes = writer(endianOf(options), options.positional[1]);
    if (!options.hex) {
        std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return 0;
    }
    for (size_t i = 0; i < bytes.size(); ++i)
        std::cout << (i == 0 ? "" : " ") << std::hex << std::setw(2) << std::setfill('0')
                  << static_cast<unsigned>(static_cast<unsigned char>(bytes[i]));
    std::cout << "\n";
    return 0;
}

int types(int argc, char** argv) {
    if (!parse(argc, argv, {}).positional.empty()) throw UsageError("types takes no arguments");
    auto table = [](const std::vector<inspect::TypeRow>& rows) {
        std::cout << std::left << std::setw(16) << "name" << std::setw(38) << "C++ type" << std::setw(40) << "byte form"
                  << "text form\n";
        for (const inspect::TypeRow& row : rows)
            std::cout << std::setw(16) << row.name << std::setw(38) << row.cppType << std::setw(40) << row.byteForm
                      << row.textForm << "\n";
    };
    table(inspect::registeredTypes());
    std::cout << "\nrecords, read by class name:\n";
    table(inspect::recordTypes());
    return 0;
}

#ifdef ZARVO_INSPECT_TRANSPORT
int listen(int argc, char** argv) {
    const Options options = parse(argc, argv, {"--count", "--json", "--pull"});
    if (options.positional.empty()) throw UsageError("listen takes ENDPOINT [TOPIC...]");
    if (options.pull && options.positional.size() > 1) throw UsageError("--pull takes no TOPIC: a pipeline has all");
    inspect::listen({options.positional[0], {options.positional.begin() + 1, options.positional.end()}, options.pull},
                    options.count, options.json);
    return 0;
}

#ifdef ZARVO_INSPECT_HDF5
int record(int argc, char** argv) {
    const Options options = parse(argc, argv, {"--frames", "--seconds", "--pull"});
    if (options.positional.size() < 2) throw UsageError("record takes ENDPOINT FILE.h5 [TOPIC...]");
    if (options.pull && options.positional.size() > 2) throw UsageError("--pull takes no TOPIC: a pipeline has all");
    if (options.limitBySeconds && options.count > 0) throw UsageError("record takes --frames N or --seconds S, not both");
    inspect::record({options.positional[0], {options.positional.begin() + 2, options.positional.end()}, options.pull},
                    options.positional[1], options.count, options.seconds);
    return 0;
}
#endif

int send(int argc, char** argv) {
    const Options options = parse(argc, argv, {"--wait"});
    if (options.positional.size() != 4) throw UsageError("send takes ENDPOINT TOPIC NAME TEXT");
    const std::string& name = options.positional[2];
    if (!zarvo::exp::TypeObject::findP(name)) throw UsageError("unknown name: " + name);
    const auto value = zarvo::exp::Variant::parse(name, options.positional[3]);
    if (!value) throw UsageError(name + " holds no value to send");
    inspect::send(options.positional[0], options.positional[1], value, options.wait);
    return 0;
}

int keys(int argc, char** argv) {
    const Options options = parse(argc, argv, {});
    if (options.positional.size() != 1) throw UsageError("keys takes NAME");
    inspect::writeKeys(options.positional[0]);
    return 0;
}
#endif

int help(int, char**) {
    std::cout << kUsage;
    return 0;
}

int version(int, char**) {
    std::cout << "zarvo-inspect " ZARVO_DATATYPES_VERSION_STRING "\n";
    return 0;
}

#ifdef ZARVO_INSPECT_HDF5
int h5(int argc, char** argv) {
    try {
        return inspect::runH5(argc, argv);
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}
#endif

// The commands, by the word that selects them.
const std::pair<const char*, int (*)(int, char**)> kCommands[] = {
    {"read", read}, {"write", write}, {"types", types},
    {"help", help}, {"--help", help}, {"-h", help}, {"--version", version},
#ifdef ZARVO_INSPECT_HDF5
    {"h5", h5},
#endif
#ifdef ZARVO_INSPECT_TRANSPORT
    {"listen", listen}, {"send", send}, {"keys", keys},
#ifdef ZARVO_INSPECT_HDF5
    {"record", record},
#endif
#endif
};

// One line, safe for a terminal: OpenCV's texts span lines and name its sources, so
// only its own short description is kept.
std::string oneLine(const std::exception& error) {
    const auto* opencv = dynamic_cast<const cv::Exception*>(&error);
    std::string text = opencv != nullptr ? "OpenCV refused: " + opencv->err + " (in " + opencv->func + ")" : error.what();
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return zarvo::Exception::printable(text);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    try {
        for (const auto& [word, run] : kCommands)
            if (command == word) return run(argc, argv);
        throw UsageError(command.empty() ? "no command" : "unknown command: " + command);
    } catch (const UsageError& error) {
        std::cerr << "zarvo-inspect: " << oneLine(error) << "\n" << kUsage;
        return 2;
    } catch (const std::bad_alloc&) {
        std::cerr << "zarvo-inspect: out of memory: the input announces more than this machine holds\n";
    } catch (const std::exception& error) {
        std::cerr << "zarvo-inspect: " << oneLine(error) << "\n";
    } catch (...) {
        std::cerr << "zarvo-inspect: unexpected error\n";
    }
    return 1;
}
