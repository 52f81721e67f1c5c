// Recordings: frames appended, read back one at a time, frames that do not fit, and a
// recorder killed in the middle of a run.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "hdf5/FrameRecorder.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;
using Storage = DataStorage<std::string>;

namespace {

std::string scratch(const std::string& name) { return ::testing::TempDir() + "zarvo_hdf5_" + name + ".h5"; }

// Frame i of a run: pixels and metadata that tell the frames apart.
Frame frameNumber(int i, int channels = 1) {
    Frame frame(cv::Mat(48, 64, CV_MAKETYPE(CV_8U, channels), cv::Scalar(i % 256, (i + 1) % 256, (i + 2) % 256)));
    frame.getFrameData().at<unsigned char>(0, 0) = static_cast<unsigned char>(255 - i % 256);
    frame.addMetaDate("index", hold(i));
    frame.addMetaDate("camera.temperature", hold(20.0 + i));
    frame.addMetaDate("camera.mode", hold(std::string(i % 2 ? "odd" : "even")));
    frame.addMetaDate("roi", hold(cv::Rect(i, 0, 10, 10)));
    return frame;
}

// Runs work in a child, which reports numbers through the pipe it is given; once the
// parent has read reports of them and waited delay microseconds more, the child is killed
// for real. Gives the last report the child made before it died.
int killAfterReports(const std::function<void(int)>& work, int reports, useconds_t delay = 0) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        close(pipeEnds[0]);
        work(pipeEnds[1]);
        _exit(0);
    }
    close(pipeEnds[1]);
    int last = -1;
    for (int i = 0; i < reports; ++i)
        if (read(pipeEnds[0], &last, sizeof last) != sizeof last)
            ADD_FAILURE() << "the child ended before report " << i;
    usleep(delay);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    for (int next = 0; read(pipeEnds[0], &next, sizeof next) == sizeof next;) last = next;
    close(pipeEnds[0]);
    EXPECT_TRUE(WIFSIGNALED(status));
    return last;
}

void report(int pipe, int number) {
    if (write(pipe, &number, sizeof number) != sizeof number) _exit(1);
}

void expectFrame(const Frame& back, int i, int channels = 1) {
    const Frame wanted = frameNumber(i, channels);
    EXPECT_EQ(cv::norm(back.getFrameData(), wanted.getFrameData(), cv::NORM_INF), 0) << "frame " << i;
    for (const char* key : {"index", "camera.temperature", "camera.mode", "roi"}) {
        std::shared_ptr<Variant> got, expected;
        ASSERT_TRUE(back.getMetaDate(key, got)) << key;
        wanted.getMetaDate(key, expected);
        EXPECT_TRUE(got->equal_imp(expected)) << "frame " << i << " " << key << ": " << got->toString();
    }
}

}  // namespace

TEST(Hdf5FrameRecorder, FramesReadBackOneByOneInEveryCompression) {
    const std::vector<std::pair<FrameRecorder::Compression, std::string>> compressions = {
        {FrameRecorder::Compression::none, "none"},
        {FrameRecorder::Compression::deflate, "deflate 4 + shuffle"},
        {FrameRecorder::Compression::lz4, "lz4 + shuffle"}};
    for (const auto& [compression, text] : compressions) {
        for (const int channels : {1, 3}) {
            const std::string name = scratch("run" + text.substr(0, 4) + std::to_string(channels));
            {
                RecordingFile file = RecordingFile::create(name);
                FrameRecorder::Options options;
                options.compression = compression;
                options.flushEvery = 3;
                FrameRecorder recorder(file, "runs/1", options);
                for (int i = 0; i < 7; ++i) recorder.append(frameNumber(i, channels));
                EXPECT_EQ(recorder.size(), 7u);
            }
            const RecordingFile file = RecordingFile::openReadOnly(name);
            ASSERT_EQ(FrameRecorder::frameCount(file, "runs/1"), 7u);
            EXPECT_EQ(FrameRecorder::compressionOf(file, "runs/1"), text);
            for (const int i : {6, 0, 3}) expectFrame(FrameRecorder::readFrame(file, "runs/1", i), i, channels);
            EXPECT_EQ(messageOf([&] { FrameRecorder::readFrame(file, "runs/1", 7); }),
                      "'runs/1': has 7 frames, no frame 7");
            // The stack and the columns have the frame tag of their own: read per frame, never as one value.
            const std::string advice = "), not one value: read them with RecordingFile::readElement";
            EXPECT_EQ(messageOf([&] { file.readValue("runs/1/images"); }),
                      std::string("'runs/1/images': holds one element per frame of a recording (shape (7, 48, 64") +
                          (channels == 3 ? ", 3" : "") + ")" + advice);
            const std::string column = "runs/1/metadata/camera/temperature";
            EXPECT_EQ(messageOf([&] { file.readValue(column); }),
                      "'" + column + "': holds one element per frame of a recording (shape (7,)" + advice);
            const cv::Mat image = file.readElement("runs/1/images", 2)->value<cv::Mat>();
            EXPECT_EQ(cv::norm(image, frameNumber(2, channels).getFrameData(), cv::NORM_INF), 0);
            EXPECT_EQ(file.readElement(column, 1)->toDouble(), 21.0);
            EXPECT_EQ(messageOf([&] { file.readElement("runs/1/images", 7); }),
                      "'runs/1/images': has 7 frames, no frame 7");
        }
    }
}

TEST(Hdf5FrameRecorder, AFrameThatDoesNotFitIsRefusedWhole) {
    const std::string name = scratch("misfit");
    RecordingFile file = RecordingFile::create(name);
    FrameRecorder recorder(file, "run");
    FrameRecorder late(file, "late");
    recorder.append(frameNumber(0));
    EXPECT_EQ(messageOf([&] { late.append(frameNumber(0)); }),
              "'late': the file records frames already and takes no new recording: declare every recording before "
              "the first frame, each with its layout frame");
    EXPECT_EQ(messageOf([&] { file.writeValue("note", hold(1)); }),
              "'" + name +
                  "' records frames: it takes no new object such as 'note' (write values and declare every "
                  "recording before the first frame)");
    Frame extraKey = frameNumber(1);
    extraKey.addMetaDate("extra", hold(1));
    Frame otherType = frameNumber(1);
    otherType.removeMetaDate("index");
    otherType.addMetaDate("index", hold(1.0f));
    const std::vector<std::pair<Frame, std::string>> cases = {
        {Frame(cv::Mat(48, 64, CV_16UC1)), "image 48x64 of type 2, the first was 48x64 of type 0"},
        {extraKey, "other metadata keys than the first frame's"},
        {otherType, "metadata 'index' is a 'float', the first was a 'int32'"}};
    for (const auto& [frame, why] : cases)
        EXPECT_EQ(messageOf([&] { recorder.append(frame); }), "'run': frame 1 does not fit the recording: " + why);
    // An HDF5 string ends at its first NUL: such a text is refused, not cut short.
    Frame nul = frameNumber(1);
    nul.removeMetaDate("camera.mode");
    nul.addMetaDate("camera.mode", hold(std::string("o\0dd", 4)));
    EXPECT_EQ(messageOf([&] { recorder.append(nul); }),
              "'/run/metadata/camera/mode': a value of type 'string' does not fit this column");
    recorder.append(frameNumber(1));
    recorder.flush();
    EXPECT_EQ(FrameRecorder::frameCount(file, "run"), 2u);
    expectFrame(FrameRecorder::readFrame(file, "run", 1), 1);
}

TEST(Hdf5FrameRecorder, AFilterThatIsNotThereIsRefusedAtConstruction) {
    RecordingFile file = RecordingFile::create(scratch("bitshuffle"));
    FrameRecorder::Options options;
    options.compression = FrameRecorder::Compression::bitshuffleLz4;
    try {
        FrameRecorder recorder(file, "run", options);
        recorder.append(frameNumber(0));
        EXPECT_EQ(FrameRecorder::compressionOf(file, "run"), "bitshuffle-lz4");
    } catch (const zarvo::Exception& error) {
        // Debian has no bitshuffle plugin of its own: where none is installed, nothing is written.
        EXPECT_THAT(error.message(), ::testing::StartsWith("'run': bitshuffle-LZ4 compression (HDF5 filter 32008) is "
                                                           "not available: install a bitshuffle HDF5 plugin"));
        EXPECT_FALSE(file.contains("run"));
    }
}

TEST(Hdf5FrameRecorder, TimestampsFromAKeyFindFramesByTime) {
    RecordingFile file = RecordingFile::create(scratch("times"));
    FrameRecorder::Options options;
    options.timeKey = "time";
    options.singleWriterMultipleReader = false;  // the file takes another recording below
    FrameRecorder recorder(file, "run", options);
    const auto timed = [](int i, std::int64_t time) {
        Frame frame = frameNumber(i);
        frame.addMetaDate("time", hold(time));
        return frame;
    };
    for (int i = 0; i < 5; ++i) recorder.append(timed(i, 1000 + 10 * i));  // 1000, 1010, ... 1040
    EXPECT_EQ(messageOf([&] { recorder.append(timed(5, 1039)); }),
              "'run': frame 5 does not fit the recording: its time 1039 lies before the last frame's 1040");
    const std::vector<std::pair<std::int64_t, std::optional<size_t>>> cases = {
        {999, std::nullopt}, {1000, 0u}, {1009, 0u}, {1010, 1u}, {1035, 3u}, {1040, 4u}, {5000, 4u}};
    for (const auto& [time, frame] : cases) EXPECT_EQ(recorder.frameAt(time), frame) << time;
    EXPECT_EQ(FrameRecorder::timestampOf(file, "run", 3), 1030);
    EXPECT_EQ(file.readElement("run/timestamps", 4)->toString(), "1040");

    FrameRecorder::Options badKey = options;
    badKey.timeKey = "index";
    FrameRecorder wrongType(file, "run2", badKey);
    EXPECT_EQ(messageOf([&] { wrongType.append(frameNumber(0)); }),
              "'run2': time key 'index' holds a 'int32', not int64 or uint64 nanoseconds since the Unix epoch");
}

// Kills at random moments after create() returned, each step reported once complete: the
// file opens every time and holds every reported step. Round 0 is a triggered camera,
// killed while it waits for its first frame; its file then takes the frames it missed.
TEST(Hdf5FrameRecorder, KilledAtRandomMomentsKeepsEveryCompletedCall) {
    std::mt19937 random(25);
    for (int round = 0; round < 12; ++round) {
        const bool waiting = round == 0;
        const std::string name = scratch("random_kill");
        const useconds_t delay = std::uniform_int_distribution<useconds_t>(0, 40000)(random);
        const int step = killAfterReports(
            [&](int pipe) {
                RecordingFile file = RecordingFile::create(name);
                report(pipe, 1);
                file.writeValue("operator", hold(std::string("ada")));
                report(pipe, 2);
                Storage calibration;
                calibration.insert("gain", hold(1.25));
                file.writeStorage("calibration", calibration);
                report(pipe, 3);
                FrameRecorder::Options options;
                options.flushEvery = 1;
                FrameRecorder recorder(file, "run", options);
                report(pipe, 4);
                if (waiting) pause();
                for (int i = 0; i < 100000; ++i) {
                    recorder.append(frameNumber(i));
                    report(pipe, 5 + i);
                }
            },
            waiting ? 4 : 1, waiting ? 0 : delay);
        SCOPED_TRACE("round " + std::to_string(round) + ", step " + std::to_string(step));
        RecordingFile file = RecordingFile::openReadOnly(name);
        if (step < 2) continue;
        EXPECT_EQ(file.readValue("operator")->toString(), "ada");
        if (step < 3) continue;
        EXPECT_EQ(file.readStorage("calibration").get("gain")->toDouble(), 1.25);
        if (step < 4) continue;
        // Every frame on disk reads back whole, and none reported as appended is lost.
        const size_t frames = FrameRecorder::frameCount(file, "run");
        EXPECT_GE(frames, static_cast<size_t>(step - 4));
        for (size_t i = 0; i < frames; ++i) expectFrame(FrameRecorder::readFrame(file, "run", i), static_cast<int>(i));
        if (!waiting) continue;
        EXPECT_EQ(frames, 0u);
        file.close();
        RecordingFile again = RecordingFile::openToAppend(name);
        FrameRecorder::resume(again, "run").append(frameNumber(0));
        expectFrame(FrameRecorder::readFrame(again, "run", 0), 0);
    }
}

// Two cameras of other sizes and rates in one file, declared before the first frame;
// the writer is killed, then the run is resumed.
TEST(Hdf5FrameRecorder, TwoStreamsKilledThenResumed) {
    const std::string name = scratch("two_streams");
    const auto slow = [](int i) { return Frame(cv::Mat(24, 32, CV_16UC1, cv::Scalar(100 * i))); };
    const int flushed = killAfterReports(
        [&](int pipe) {
            RecordingFile file = RecordingFile::create(name);
            FrameRecorder::Options options;
            options.flushEvery = 0;
            FrameRecorder fast(file, "run/fast", frameNumber(0), options);
            FrameRecorder slower(file, "run/slow", slow(0), options);
            for (int i = 0; i < 1000000; ++i) {
                fast.append(frameNumber(i));
                if (i % 3 == 0) slower.append(slow(i / 3));
                if (i % 6 == 5) {
                    fast.flush();
                    report(pipe, i + 1);
                }
            }
        },
        3);
    ASSERT_GE(flushed, 18);
    {
        const RecordingFile file = RecordingFile::openReadOnly(name);
        EXPECT_GE(FrameRecorder::frameCount(file, "run/fast"), static_cast<size_t>(flushed));
        EXPECT_GE(FrameRecorder::frameCount(file, "run/slow"), static_cast<size_t>(flushed / 3));
    }
    // Resumed, the stream keeps its layout and its frame axis goes on forward.
    RecordingFile file = RecordingFile::openToAppend(name);
    FrameRecorder slower = FrameRecorder::resume(file, "run/slow");
    const size_t before = slower.size();
    EXPECT_EQ(messageOf([&] { slower.append(Frame(cv::Mat(48, 64, CV_8UC1))); }),
              "'run/slow': frame " + std::to_string(before) +
                  " does not fit the recording: image 48x64 of type 0, the first was 24x32 of type 2");
    slower.append(slow(99));
    EXPECT_LE(FrameRecorder::timestampOf(file, "run/slow", before - 1),
              FrameRecorder::timestampOf(file, "run/slow", before));
    for (size_t i = 0; i < before; ++i)
        EXPECT_EQ(FrameRecorder::readFrame(file, "run/slow", i).getFrameData().at<unsigned short>(3, 4), 100 * i);
    EXPECT_EQ(FrameRecorder::readFrame(file, "run/slow", before).getFrameData().at<unsigned short>(0, 0), 9900);
    for (size_t i = 0; i < FrameRecorder::frameCount(file, "run/fast"); ++i)
        expectFrame(FrameRecorder::readFrame(file, "run/fast", i), static_cast<int>(i));
}
