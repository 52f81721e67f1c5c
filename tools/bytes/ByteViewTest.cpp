// Runs the built zarvo-inspect on files the library writes and checks its exact
// output, error line and exit code. A program of its own: it registers the storage
// holder so that a storage with groups has a byte form, as the inspector does.

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Version.h"
#include "tests/TestSupport.h"
#include "tools/bytes/ToolRun.h"
#include "zarvo/version.h"

using namespace zarvo::exp;
using namespace testsupport;
using namespace inspecttest;
using Storage = DataStorage<std::string>;

[[maybe_unused]] const TypeObject* const kStorageEntry = registerStorageType();

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
    const std::string mat = bytesOf(*hold(cv::Mat(4, 5, CV_16SC3, cv::Scalar(1, -2, 3))), no_swap);
    const std::string m = std::to_string(mat.size());
    const std::string calibration =
        recordBytes(zarvo::CalibrationInfo(1, "CERT-0042", 20250101, 20240101, 48879), no_swap);
    const std::string badMatrix(16, '\xff');
    const std::tuple<std::string, int, std::string, std::string> cases[] = {
        {"read vecint32 --swap " + file("vec", vec), 0, "vecint32: 1;2;-3;\n16 bytes used of 16\n", ""},
        {"read cvmat " + file("mat", mat), 0,
         "cvmat: 2 dims 4x5, CV_16SC3\n  channel 0: min 1, max 1, mean 1\n  channel 1: min -2, max -2, mean -2\n"
         "  channel 2: min 3, max 3, mean 3\n" +
             m + " bytes used of " + m + "\n",
         ""},
        {"read storage " + file("storage", storage), 0,
         "storage: 3 entries\n  camera (storage): 2 entries\n    lens (storage): 1 entry\n"
         "      focus (vecfloat): 1.5;2.5;\n    serial (int32): 4711\n  image (cvmat): 2 dims 2x3, CV_8UC1\n"
         "    channel 0: min 7, max 7, mean 7\n"
         "  name (string): probe\n" +
             n + " bytes used of " + n + "\n",
         ""},
        {"read CalibrationInfo < " + file("cal", calibration), 0,
         "CalibrationInfo:\n  CalibrationInfo:\n  ContentType: 1\n  CertificateNumber: CERT-0042\n"
         "  ExpireDate: 20250101\n  IssueDate: 20240101\n  Checksum: 48879\n32 bytes used of 32\n",
         ""},
        {"read vecint32 --swap " + file("vec2", vec + vec.substr(0, 6)), 0, "vecint32: 1;2;-3;\n16 bytes used of 22\n",
         ""},
        {"write vecint32 '1;2;3;' --swap --hex", 0, "00 00 00 03 00 00 00 01 00 00 00 02 00 00 00 03\n", ""},
        {"write Version 1.02.03 --hex", 0, "01 00 00 00 02 00 00 00 03 00 00 00\n", ""},
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
        {"write ProbeValue 1", 2, "", "ProbeValue can not be read from text"},
        {"write veccvmat '' --swap", 2, "", "veccvmat has the host byte order only: no --swap"},
        {"read veccvmat --swap " + file("nomats", std::string(4, '\0')), 2, "",
         "veccvmat has the host byte order only: no --swap"}};
    for (const auto& [args, code, out, error] : cases) expectRun(args, code, out, error);
}

// write reads strictly; strings and keys come out escaped; a count that does not fit
// points at the other byte order; hex input, offsets, the input limit, --version.
TEST(Inspect, StrictWritesEscapesHintsAndInputs) {
    Storage s;
    s.insert("k\x1b]0;", hold(std::string("a\x1b[2J\n\xc2\x9b")));
    std::string storage(s.sizeofType(), '\0');
    s.serialize(no_swap, storage.data());
    const std::string vec = file("vecswap", bytesOf(*hold(std::vector<int>{1, 2, -3}), swap));
    const std::string words = file("words", hex("01 00 00 00 02 00 00 00"));
    const std::string int32 = "expected a decimal whole number from -2147483648 to 2147483647";
    const Case cases[] = {
        {"write int32 abc", 1, "", "Can not read int32 (int) from \"abc\": " + int32},
        {"write int32 '1 '", 1, "", "Can not read int32 (int) from \"1 \": " + int32},
        {"write uint8 300", 1, "",
         "Can not read uint8 (unsigned char) from \"300\": expected a decimal whole number from 0 to 255"},
        {"write bool true", 1, "", "Can not read bool from \"true\": expected 0 or 1"},
        {"write MarkedFloat '1.5 (Overrange)' --hex", 0, "05 00 c0 3f\n", ""},
        {"write Version 1.2.3", 1, "",
         "Can not read Version (zarvo::exp::Version) from \"1.2.3\": expected the text its toString writes"},
        {"write int32 \"$(printf '\\033[2J')\"", 1, "", "Can not read int32 (int) from \"\\x1b[2J\": " + int32},
        {"read storage " + file("escapes", storage), 0,
         "storage: 1 entry\n  k\\x1b]0; (string):\n    a\\x1b[2J\n    \\u009b\n" + std::to_string(storage.size()) +
             " bytes used of " + std::to_string(storage.size()) + "\n",
         ""},
        {"read vecint32 " + vec, 1, "",
         "Input ends before the value does: 201326592 more bytes needed at offset 4, 12 left (with --swap it reads)"},
        {"read vecint32 --swap " + file("vecnoswap", bytesOf(*hold(std::vector<int>{1, 2, -3}), no_swap)), 1, "",
         "Input ends before the value does: 201326592 more bytes needed at offset 4, 12 left (without --swap it "
         "reads)"},
        {"read int32 --offset 4 " + words, 0, "int32: 2\n4 bytes used of 4 from offset 4\n", ""},
        {"read int32 --all --offset 4 " + words, 0, "int32 at 4: 2\n4 bytes used of 4 from offset 4\n", ""},
        {"read int32 --offset 9 " + words, 1, "", "offset 9 lies past the end of the input (8 bytes)"},
        {"read int32 --offset x " + words, 2, "", "--offset takes a number of bytes, not x"},
        {"read int32 --offset", 2, "", "--offset needs a value"},
        {"read int32 --swap --from-hex < " + file("hex", "00 00\n01 02\n"), 0, "int32: 258\n4 bytes used of 4\n", ""},
        {"read int32 --from-hex " + file("badhex", "00 0g"), 1, "", "hex input holds 'g' at offset 4, not a hex digit"},
        {"read int32 --from-hex " + file("halfhex", "00 0"), 1, "", "hex input ends in the middle of a byte"},
        {"read int32 /dev/zero", 1, "", "/dev/zero holds more than 256 MiB, more than zarvo-inspect reads"},
        {"--version", 0, "zarvo-inspect " ZARVO_DATATYPES_VERSION_STRING "\n", ""},
        {"types extra", 2, "", "types takes no arguments"},
        {"write int32", 2, "", "write takes NAME TEXT"},
        {"frobnicate", 2, "", "unknown command: frobnicate"}};
    for (const auto& [args, code, out, error] : cases) expectRun(args, code, out, error);
}

// --json: a value, a record as an object, a storage as nested objects, a matrix as its
// shape and dtype and (small ones) pixels, a stray byte as Python's surrogate escape.
TEST(Inspect, JsonForScripts) {
    Storage s;
    s.insert("camera.serial", hold(4711));
    s.insert("name", hold(std::string("pro\"be")));
    std::string storage(s.sizeofType(), '\0');
    s.serialize(no_swap, storage.data());
    cv::Mat small(2, 2, CV_8UC2, cv::Scalar(1, 2));
    small.at<cv::Vec2b>(1, 1) = cv::Vec2b(5, 6);
    const std::string n = std::to_string(storage.size()), tail = ",\"offset\":0,\"bytesUsed\":";
    const std::string version = recordBytes(Version(1, 2, 3), no_swap);
    const std::string big = bytesOf(*hold(cv::Mat(1, 2000, CV_32FC1, cv::Scalar(0.5f))), no_swap);
    const Case cases[] = {
        {"read vecint32 --json --swap " + file("vec", bytesOf(*hold(std::vector<int>{1, -3}), swap)), 0,
         "{\"type\":\"vecint32\",\"value\":[1,-3]" + tail + "12,\"bytesAvailable\":12}\n", ""},
        {"read storage --json " + file("storage", storage), 0,
         "{\"type\":\"storage\",\"value\":{\"camera\":{\"serial\":4711},\"name\":\"pro\\\"be\"}" + tail + n +
             ",\"bytesAvailable\":" + n + "}\n",
         ""},
        {"read Version --json " + file("version", version), 0,
         "{\"type\":\"Version\",\"value\":{\"major\":1,\"minor\":2,\"patch\":3}" + tail + "12,\"bytesAvailable\":12}\n",
         ""},
        {"read cvmat --json " + file("small", bytesOf(*hold(small), no_swap)), 0,
         "{\"type\":\"cvmat\",\"value\":{\"shape\":[2,2,2],\"dtype\":\"uint8\","
         "\"pixels\":[[[1,2],[1,2]],[[1,2],[5,6]]]}" +
             tail + "32,\"bytesAvailable\":32}\n",
         ""},
        {"read cvmat --json " + file("big", big), 0,
         "{\"type\":\"cvmat\",\"value\":{\"shape\":[1,2000],\"dtype\":\"float32\"}" + tail +
             std::to_string(big.size()) + ",\"bytesAvailable\":" + std::to_string(big.size()) + "}\n",
         ""},
        {"read string --json " + file("stray", std::string("\3\0\0\0\xff\xc2\x85", 7)), 0,
         "{\"type\":\"string\",\"value\":\"\\udcff\\u0085\"" + tail + "7,\"bytesAvailable\":7}\n", ""},
        {"read int32 --json --all " + file("two", hex("07 00 00 00 08 00 00 00")), 0,
         "{\"type\":\"int32\",\"values\":[{\"offset\":0,\"value\":7},{\"offset\":4,\"value\":8}]" + tail +
             "8,\"bytesAvailable\":8}\n",
         ""}};
    for (const auto& [args, code, out, error] : cases) expectRun(args, code, out, error);
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

// What OpenCV or libpng cannot do ends in one line of ours, exit 1.
TEST(Inspect, PngFailuresAreOneLine) {
    const std::string half = file("half", bytesOf(*hold(cv::Mat(2, 2, CV_16F, cv::Scalar(1))), no_swap));
    const std::string wide = file("wide", bytesOf(*hold(cv::Mat(1, 2000000, CV_8UC1, cv::Scalar(1))), no_swap));
    const std::string png = kDir + "out.png";
    expectRun("read cvmat --png " + png + " " + half, 0,
              "cvmat: 2 dims 2x2, CV_16FC1\n  channel 0: min 1, max 1, mean 1\n32 bytes used of 32\n", "");
    expectRun("read cvmat --png " + png + " " + wide, 1,
              "cvmat: 2 dims 1x2000000, CV_8UC1\n  channel 0: min 1, max 1, mean 1\n2000024 bytes used of 2000024\n",
              "a PNG side holds at most 1000000 pixels, the matrix is 1 x 2000000");
    expectRun("read cvmat --png /nonexistent/out.png " + half, 1,
              "cvmat: 2 dims 2x2, CV_16FC1\n  channel 0: min 1, max 1, mean 1\n32 bytes used of 32\n",
              "cannot write /nonexistent/out.png");
}
#endif
