// zarvo-inspect: looks into byte forms written by the library (files, captures,
// device dumps) and makes byte forms from text. Everything it reads goes through
// the bounded readers, so a damaged input ends in one line saying where the bytes
// ran out, never in a crash.
//
// Exit codes: 0 done, 1 bad input (one line on standard error), 2 usage error.

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef ZARVO_INSPECT_PNG
#include <opencv2/imgcodecs.hpp>
#endif

#include "tools/bytes/ByteView.h"
#ifdef ZARVO_INSPECT_HDF5
#include "tools/bytes/Hdf5Inspect.h"
#endif

namespace {

using inspect::Shown;
using zarvo::exp::Endian;

/// A command line that makes no sense: reported with the usage text, exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const char* const kUsage =
    "usage: zarvo-inspect read NAME [--swap] [--all]"
#ifdef ZARVO_INSPECT_PNG
    " [--png OUT]"
#endif
    " [FILE]\n"
    "       zarvo-inspect write NAME TEXT [--swap] [--hex]\n"
    "       zarvo-inspect types\n"
#ifdef ZARVO_INSPECT_HDF5
    "       zarvo-inspect h5 list FILE | h5 print FILE PATH   (HDF5 recordings)\n"
#endif
    "NAME is a registered type name, \"storage\" or a record class name (see 'types').\n"
    "read shows the value(s) in FILE (or standard input, also for FILE '-') and the bytes used;\n"
    "--all reads values back to back until the input ends. write prints the byte form of\n"
    "TEXT, raw or with --hex as hex digits. --swap reverses multi-byte fields (default: host order).\n"
#ifdef ZARVO_INSPECT_PNG
    "--png OUT (read cvmat only) writes the matrix as a PNG, scaled to 0..255.\n"
#endif
    ;

struct Options {
    std::vector<std::string> positional;
    bool swap = false;
    bool all = false;
    bool hex = false;
    std::string png;
};

// Splits the arguments after the command; allowed lists the options the command takes.
Options parse(int argc, char** argv, const std::vector<std::string>& allowed) {
    Options options;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
            options.positional.push_back(arg);
            continue;
        }
        if (std::find(allowed.begin(), allowed.end(), arg) == allowed.end()) throw UsageError("unknown option for '" + std::string(argv[1]) + "': " + arg);
        if (arg == "--swap") options.swap = true;
        if (arg == "--all") options.all = true;
        if (arg == "--hex") options.hex = true;
        if (arg == "--png") {
            if (++i == argc) throw UsageError("--png needs a file name");
            options.png = argv[i];
        }
    }
    return options;
}

Endian endianOf(const Options& options) { return options.swap ? zarvo::exp::swap : zarvo::exp::no_swap; }

std::vector<char> readInput(const std::string& file) {
    if (file == "-") return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + file);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void print(const std::string& label, const Shown& shown) {
    std::cout << label << ":" << (shown.head.empty() ? "" : " " + shown.head) << "\n";
    for (const std::string& line : shown.lines) std::cout << "  " << line << "\n";
}

#ifdef ZARVO_INSPECT_PNG
// Stretches the value range to 0..255 in 8 bits, so any depth gives a visible image.
void writePng(const cv::Mat& matrix, const std::string& path) {
    if (matrix.dims != 2 || matrix.empty()) throw std::runtime_error("only a non-empty 2-dimensional matrix makes a PNG");
    if (matrix.channels() == 2 || matrix.channels() > 4)
        throw std::runtime_error("a PNG takes 1, 3 or 4 channels, not " + std::to_string(matrix.channels()));
    cv::Mat scaled;
    cv::normalize(matrix, scaled, 0, 255, cv::NORM_MINMAX, CV_8U);
    if (!cv::imwrite(path, scaled)) throw std::runtime_error("cannot write " + path);
}
#endif

int read(int argc, char** argv) {
#ifdef ZARVO_INSPECT_PNG
    const Options options = parse(argc, argv, {"--swap", "--all", "--png"});
#else
    const Options options = parse(argc, argv, {"--swap", "--all"});
#endif
    if (options.positional.empty() || options.positional.size() > 2) throw UsageError("read takes NAME [FILE]");
    const std::string& name = options.positional[0];
    if (!options.png.empty() && (name != "cvmat" || options.all)) throw UsageError("--png goes with 'read cvmat' alone");
    std::shared_ptr<zarvo::exp::Variant> last;
    const inspect::Reader reader = inspect::readerFor(name, &last);
    if (!reader) throw UsageError("unknown name: " + name);

    const std::vector<char> input = readInput(options.positional.size() == 2 ? options.positional[1] : "-");
    size_t offset = 0;
    size_t used = 0;
    do {
        // In --all mode the reader's offsets count from the value's start, so say where that is.
        const std::string at = std::to_string(offset);
        try {
            const Shown shown = reader(endianOf(options), input.data() + offset, input.size() - offset, used);
            print(options.all ? name + " at " + at : name, shown);
        } catch (const std::exception& error) {
            throw std::runtime_error((options.all ? "value at offset " + at + ": " : "") + error.what());
        }
        offset += used;
    } while (options.all && offset < input.size() && used > 0);
    std::cout << offset << " bytes used of " << input.size() << "\n";
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

// Error texts may span lines (OpenCV's do); the caller gets one.
std::string oneLine(std::string text) {
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    try {
        if (command == "read") return read(argc, argv);
        if (command == "write") return write(argc, argv);
        if (command == "types") return types(argc, argv);
#ifdef ZARVO_INSPECT_HDF5
        if (command == "h5") return inspect::runH5(argc, argv);
#endif
        if (command == "help" || command == "--help" || command == "-h") {
            std::cout << kUsage;
            return 0;
        }
        throw UsageError(command.empty() ? "no command" : "unknown command: " + command);
    } catch (const UsageError& error) {
        std::cerr << "zarvo-inspect: " << error.what() << "\n" << kUsage;
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "zarvo-inspect: " << oneLine(error.what()) << "\n";
    } catch (...) {
        std::cerr << "zarvo-inspect: unexpected error\n";
    }
    return 1;
}
