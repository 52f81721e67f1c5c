// Runs the built zarvo-inspect's stream commands as child processes against real
// sockets of this process (ipc paths in a scratch folder) and checks their exact output,
// error line and exit code.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/datatypes/Frame.h"
#include "tests/TestSupport.h"
#include "transport/KeyPair.h"
#include "transport/Publisher.h"
#include "transport/Subscriber.h"
#ifdef ZARVO_INSPECT_HDF5
#include "hdf5/FrameRecorder.h"
#endif

using namespace zarvo::exp;
using namespace zarvo::transport;
using namespace testsupport;
using namespace std::chrono_literals;
using Storage = DataStorage<std::string>;

[[maybe_unused]] const TypeObject* const kStorageEntry = registerStorageType();

namespace {

const std::string kDir = ::testing::TempDir() + "zarvo_stream_" + std::to_string(getpid()) + "/";
const struct Scratch {
    Scratch() { std::filesystem::create_directories(kDir); }
    ~Scratch() { std::filesystem::remove_all(kDir); }
} kScratch;

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The program with args, running beside the test; its output goes to files.
struct Child {
    pid_t pid;
    explicit Child(const std::string& args) {
        // Built before fork: the child of a process with threads (ZeroMQ's) only calls exec.
        const std::string command = "exec " ZARVO_INSPECT_PROGRAM " " + args + " >" + kDir + "out 2>" + kDir + "err";
        pid = fork();
        if (pid == 0) {
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    // Exit code, output and error after at most 20 s (then killed: -1).
    std::tuple<int, std::string, std::string> finish() {
        int status = 0;
        for (int i = 0; i < 2000 && waitpid(pid, &status, WNOHANG) == 0; ++i) std::this_thread::sleep_for(10ms);
        if (kill(pid, 0) == 0 && waitpid(pid, &status, WNOHANG) == 0) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        }
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(kDir + "out"), slurp(kDir + "err")};
    }
};

// The output with each line's send time (and sender id) as T: they change from run to run.
std::string withoutTimes(std::string text) {
    for (size_t at; (at = text.find("\"sendTime\":")) != std::string::npos;)
        text.replace(at, text.find(",\"kind\"", at) - at, "T");
    // A time in a text line: 2026-01-02T03:04:05.000000006Z.
    for (size_t at = 0; (at = text.find('Z', at)) != std::string::npos; ++at) {
        if (at < 29 || text[at - 19] != 'T' || text[at - 10] != '.') continue;
        at -= 29;
        text.replace(at, 30, "T");
    }
    return text;
}

Frame frame(int rows, int cols, double gain) {
    Storage metadata;
    metadata.insert("gain", hold(gain));
    return Frame(cv::Mat(rows, cols, CV_8UC1, cv::Scalar(gain)), std::move(metadata));
}

}  // namespace

// listen prints a line per message, escaped, then the counters; --json an object per line.
// It ends after --count messages, or without one cleanly on SIGINT.
TEST(InspectStream, ListenLinesJsonAndSigint) {
    const std::string endpoint = "ipc://" + kDir + "listen";
    for (const bool json : {false, true}) {
        Publisher publisher;
        publisher.bind(endpoint);
        Child listener("listen " + endpoint + " c" + (json ? " --count 4 --json" : ""));
        ASSERT_TRUE(publisher.waitForSubscriber(10s));
        Storage storage;
        storage.insert("a", hold(1));
        storage.insert("b.c", hold(std::string("x")));
        publisher.send("not me", *hold(0));
        publisher.send("c\x1b", *hold(std::string("a\nb")));
        publisher.send("c", storage);
        publisher.send("c", frame(2, 3, 4));
        publisher.sendEnd("c");
        for (int i = 0; i < 1000 && !json && slurp(kDir + "out").find("end of stream") == std::string::npos; ++i)
            std::this_thread::sleep_for(10ms);
        if (!json) kill(listener.pid, SIGINT);
        const auto [code, out, error] = listener.finish();
        EXPECT_EQ(code, 0);
        EXPECT_EQ(error, "");
        EXPECT_EQ(
            withoutTimes(out),
            json ? "{\"topic\":\"c\\u001b\",\"sequence\":0,T,\"kind\":\"value\",\"type\":\"string\",\"value\":"
                   "\"a\\u000ab\"}\n"
                   "{\"topic\":\"c\",\"sequence\":0,T,\"kind\":\"storage\",\"value\":{\"a\":1,\"b\":{\"c\":\"x\"}}}\n"
                   "{\"topic\":\"c\",\"sequence\":1,T,\"kind\":\"frame\",\"image\":{\"shape\":[2,3],"
                   "\"dtype\":\"uint8\",\"pixels\":[[4,4,4],[4,4,4]]},"
                   "\"metadata\":{\"gain\":4}}\n"
                   "{\"topic\":\"c\",\"sequence\":2,T,\"kind\":\"end\"}\n"
                   "{\"stats\":{\"received\":4,\"dropped\":0,\"malformed\":0,\"restarts\":0}}\n"
                 : "c\\x1b #0 T value string a\\nb\n"
                   "c #0 T storage 2 entries: a, b\n"
                   "c #1 T frame 2 dims 2x3, CV_8UC1; metadata: gain\n"
                   "c #2 T end of stream\n"
                   "received 4, dropped 0, malformed 0, restarts 0\n");
    }
}

// send binds ("@"), waits for a subscriber and says when none came; its value is read strictly.
// (A bound subscriber would hand its subscription to a connecting send only from inside receive.)
TEST(InspectStream, SendWaitsForASubscriber) {
    Subscriber subscriber;
    const std::string endpoint = "ipc://" + kDir + "send";
    subscriber.connect(endpoint);
    const auto [code, out, error] = Child("send @" + endpoint + " t vecint16 '1;-2;'").finish();
    EXPECT_EQ(std::make_tuple(code, out, error),
              std::make_tuple(0, std::string("sent t value vecint16 1;-2;\n"), std::string()));
    const std::optional<Message> message = subscriber.receive(10s);
    ASSERT_TRUE(message && message->value);
    EXPECT_EQ(message->value->value<std::vector<short>>(), (std::vector<short>{1, -2}));
    const std::tuple<std::string, int, std::string> cases[] = {
        {"send @ipc://" + kDir + "nobody t int32 1 --wait 0.2", 1,
         "zarvo-inspect: no subscriber came within 0.2 s: nothing sent (--wait S waits longer)\n"},
        {"send " + endpoint + " t int32 x", 1,
         "zarvo-inspect: Can not read int32 (int) from \"x\": expected a decimal whole number from -2147483648 to "
         "2147483647\n"},
        {"send " + endpoint + " t nosuch 1", 2, "zarvo-inspect: unknown name: nosuch\n"},
        {"send " + endpoint + " t int32 1 --wait -1", 2, "zarvo-inspect: --wait takes seconds, not -1\n"},
        {"listen", 2, "zarvo-inspect: listen takes ENDPOINT [TOPIC...]\n"},
        {"listen " + endpoint + " t --pull", 2, "zarvo-inspect: --pull takes no TOPIC: a pipeline has all\n"}};
    for (const auto& [args, expectedCode, expectedError] : cases) {
        const auto [gotCode, gotOut, gotError] = Child(args).finish();
        EXPECT_EQ(gotCode, expectedCode) << args;
        EXPECT_EQ(gotError.substr(0, expectedError.size()), expectedError) << args;
    }
}

// keys writes a pair that loads back (KeyPair's own tests check the secret's mode), and never replaces one.
TEST(InspectStream, KeysWritesAPairOnce) {
    const std::string name = kDir + "camera";
    const auto [code, out, error] = Child("keys " + name).finish();
    EXPECT_EQ(code, 0);
    EXPECT_EQ(out, "wrote " + name + ".key (secret, readable by its owner only) and " + name + ".pub\n");
    EXPECT_EQ(KeyPair::load(name).publicKey, KeyPair::loadPublic(name + ".pub"));
    EXPECT_EQ(std::get<2>(Child("keys " + name).finish()),
              "zarvo-inspect: " + name + ".key exists: no key is replaced\n");
}

#ifdef ZARVO_INSPECT_HDF5
// record writes each topic's frames as a recording of its own, read back frame by frame.
TEST(InspectStream, RecordWritesOneRecordingPerTopic) {
    const std::string endpoint = "ipc://" + kDir + "record", file = kDir + "stream.h5";
    Publisher publisher;
    publisher.bind(endpoint);
    Child recorder("record " + endpoint + " " + file + " cam --frames 3");
    ASSERT_TRUE(publisher.waitForSubscriber(10s));
    publisher.send("cam/a", frame(2, 2, 1));
    publisher.send("cam/b", *hold(5));
    publisher.send("cam/a", frame(2, 2, 2));
    publisher.send("cam/b", frame(3, 1, 3));
    const auto [code, out, error] = recorder.finish();
    EXPECT_EQ(code, 0) << error;
    EXPECT_EQ(out, "cam/a: 2 frames\ncam/b: 1 frame\nreceived 4, dropped 0, malformed 0, restarts 0, not frames 1\n");
    const auto recording = zarvo::hdf5::RecordingFile::openReadOnly(file);
    using zarvo::hdf5::FrameRecorder;
    ASSERT_EQ(FrameRecorder::frameCount(recording, "cam/a"), 2u);
    EXPECT_EQ(FrameRecorder::readFrame(recording, "cam/a", 1).getFrameData().at<uchar>(1, 1), 2);
    EXPECT_EQ(FrameRecorder::readFrame(recording, "cam/b", 0).getMetaData().get("gain")->value<double>(), 3.0);
    const auto [usageCode, usageOut, usage] =
        Child("record " + endpoint + " " + file + " --frames 1 --seconds 1").finish();
    EXPECT_EQ(usageCode, 2);
    EXPECT_EQ(usage.substr(0, usage.find('\n')), "zarvo-inspect: record takes --frames N or --seconds S, not both");
}
#endif
