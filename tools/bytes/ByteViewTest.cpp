// Runs the built zarvo-inspect on files the library writes and checks its exact
// output, error line and exit code. A program of its own: it registers the storage
// holder so that a storage with groups has a byte form, as the inspector does.
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DataStorage.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using Storage = DataStorage<std::string>;

ZARVO_REGISTER_METATYPE(Storage, "storage");

namespace {

const std::string kDir = ::testing::TempDir() + "zarvo_inspect_" + std::to_string(getpid()) + "/";
const struct Scratch {
    Scratch() { std::filesystem::create_directories(kDir); }
    ~Scratch() { std::filesystem::remove_all(kDir); }
} kScratch;

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Writes bytes to a file in the scratch directory; gives its path.
std::string file(const std::string& name, const std::string& bytes) {
    std::ofstream(kDir + name, std::ios::binary) << bytes;
    return kDir + name;
}

// Exit code, standard output and standard error of the program run with args.
std::tuple<int, std::string, std::string> run(const std::string& args) {
    const int status = std::system((ZARVO_INSPECT_PROGRAM " " + args + " >" + kDir + "out 2>" + kDir + "err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(kDir + "out"), slurp(kDir + "err")};
}

}  // namespace

// Exit 0 with the output alone; bad input exits 1 with one error line; usage errors exit 2 and add the usage text.
TEST(Inspect, OutputErrorLineAndExitCode) {
    Storage s;
    s.insert("camera.serial", hold(4711));
    s.insert("camera.lens.focus", hold(std::vector<float>{1.5f, 2.5f}));
    s.insert("image", hold(cv::Mat(2, 3, CV_8UC1, cv::Scalar(7))));
    s.insert("name", hold(std::string("probe")));
    std::string storage(s.sizeofType(), '\0');
    s.serialize(no_swap, storage.data());
    const std::string vec = bytesOf(*hold(std::vector<int>{1, 2, -3}), swap), n = std::to_string(storage.size());
    const std::string mat = bytesOf(*hold(cv::Mat(4, 5, CV_16SC3)), no_swap), m = std::to_string(mat.size());
    const std::string calibration =
        recordBytes(zarvo::CalibrationInfo(1, "CERT-0042", 20250101, 20240101, 48879), no_swap);
    const std::string badMatrix(16, '\xff');
    const std::tuple<std::string, int, std::string, std::string> cases[] = {
        {"read vecint32 --swap " + file("vec", vec), 0, "vecint32: 1;2;-3;\n16 bytes used of 16\n", ""},
        {"read cvmat " + file("mat", mat), 0, "cvmat: 2 dims 4x5, CV_16SC3\n" + m + " bytes used of " + m + "\n", ""},
        {"read storage " + file("storage", storage), 0,
         "storage: 3 entries\n  camera (storage): 2 entries\n    lens (storage): 1 entry\n"
         "      focus (vecfloat): 1.5;2.5;\n    serial (int32): 4711\n  image (cvmat): 2 dims 2x3, CV_8UC1\n"
         "  name (string): probe\n" + n + " bytes used of " + n + "\n", ""},
        {"read CalibrationInfo < " + file("cal", calibration), 0,
         "CalibrationInfo:\n  CalibrationInfo:\n  ContentType: 1\n  CertificateNumber: CERT-0042\n"
         "  ExpireDate: 20250101\n  IssueDate: 20240101\n  Checksum: 48879\n32 bytes used of 32\n", ""},
        {"read vecint32 --swap " + file("vec2", vec + vec.substr(0, 6)), 0,
         "vecint32: 1;2;-3;\n16 bytes used of 22\n", ""},
        {"write vecint32 '1;2;3;' --swap --hex", 0, "00 00 00 03 00 00 00 01 00 00 00 02 00 00 00 03\n", ""},
        {"write Version 1.2.3 --hex", 0, "01 00 00 00 02 00 00 00 03 00 00 00\n", ""},
        {"read vecint32 --swap " + file("cut", vec.substr(0, 10)), 1, "",
         "Input ends before the value does: 12 more bytes needed at offset 4, 6 left"},
        {"read vecint32 --all --swap " + file("cut2", vec + vec.substr(0, 3)), 1, "vecint32 at 0: 1;2;-3;\n",
         "value at offset 16: Input ends before the value does: 4 more bytes needed at offset 0, 3 left"},
        {"read MaterialNumber " + file("badnumber", std::string("\3\0\0\0abc\0", 8)), 1, "",
         "Materialnumber contains invalid characters, make sure only the following characters are used: 0123456789"},
        {"read cvmat " + file("badmat", badMatrix), 1, "", "Matrix header holds 4294967295 dimensions, at most 32"},
        {"read listcvmat /nonexistent", 1, "", "cannot open /nonexistent"},
        {"", 2, "", "no command"},
        {"read nosuch", 2, "", "unknown name: nosuch"},
        {"read int32 --hex", 2, "", "unknown option for 'read': --hex"},
        {"write ProbeValue 1", 2, "", "ProbeValue can not be read from text"}};
    for (const auto& [args, code, out, error] : cases) {
        const auto [gotCode, gotOut, gotError] = run(args);
        EXPECT_TRUE(gotCode == code && gotOut == out) << args << ": " << gotCode << " " << gotOut;
        const std::string line = error.empty() ? "" : "zarvo-inspect: " + error + "\n";
        EXPECT_EQ(code == 2 ? gotError.substr(0, line.size()) : gotError, line) << args;
        EXPECT_EQ(gotError.find("usage:") != std::string::npos, code == 2) << args;
    }
}

TEST(Inspect, TypesListsEveryRegisteredNameInOrder) {
    std::istringstream lines(std::get<1>(run("types")));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line) && !line.empty();) names.push_back(line.substr(0, line.find(' ')));
    ASSERT_EQ(names.size(), 48u);  // header, the library's 46, "storage"
    EXPECT_TRUE(names[1] == "bool" && names[9] == "void" && names[46] == "listcvmat");
    for (size_t i = 1; i < names.size(); ++i) EXPECT_NE(TypeObject::findP(names[i]), nullptr) << names[i];
}

#ifdef ZARVO_INSPECT_PNG
TEST(Inspect, MatrixBecomesAPng) {
    cv::Mat image(8, 8, CV_32FC1);
    cv::randu(image, -5.0f, 5.0f);
    const std::string png = kDir + "image.png", matrix = file("image", bytesOf(*hold(image), no_swap));
    EXPECT_EQ(std::get<0>(run("read cvmat --png " + png + " " + matrix)), 0);
    EXPECT_EQ(slurp(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(std::get<0>(run("read cvmat --all --png " + png + " " + matrix)), 2);
}
#endif
