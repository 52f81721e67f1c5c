// zarvo-inspect h5 on a recording written here: every kind of dataset printed, the
// summary of each stream, and the inspector's error line and exit codes.
#include "hdf5/FrameRecorder.h"
#include "tests/TestSupport.h"
#include "tools/bytes/ToolRun.h"

using namespace zarvo::exp;
using namespace testsupport;
using namespace inspecttest;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

namespace {

// Two frames at known times (1 s apart), a column of each kind, a value, a storage and a frame.
std::string writeRecording() {
    const std::string name = kDir + "run.h5";
    RecordingFile file = RecordingFile::create(name);
    file.writeValue("operator", hold(std::string("Ada\x1b")));
    Frame still(cv::Mat(2, 2, CV_8UC1, cv::Scalar(5)));
    still.addMetaDate("gain", hold(2.5));
    file.writeFrame("still", still);
    FrameRecorder::Options options;
    options.timeKey = "time";
    FrameRecorder recorder(file, "run", options);
    for (int i = 0; i < 3; ++i) {
        Frame frame(cv::Mat(2, 3, CV_16UC1, cv::Scalar(100 * i)));
        frame.getFrameData().at<unsigned short>(0, 0) = 7;
        frame.addMetaDate("time", hold<std::int64_t>(1700000000000000000 + 1000000000 * std::int64_t(i)));
        frame.addMetaDate("spot", hold(cv::Point(i, -i)));
        frame.addMetaDate("label", hold(std::string(i == 1 ? "a\"b" : "c")));
        recorder.append(frame);
    }
    return name;
}

}  // namespace

TEST(InspectH5, PrintsEveryDatasetSummaryAndErrors) {
    const std::string f = writeRecording();
    const std::string usage = "h5 takes 'list FILE', 'summary FILE' or 'print FILE PATH'";
    const Case cases[] = {
        {"h5 print " + f + " run/images --frames 1:3", 0,
         "/run/images (framestack, (3, 2, 3)), frames 1:3\n"
         "  [1]: 2 dims 2x3, CV_16UC1\n    channel 0: min 7, max 100, mean 84.5\n"
         "  [2]: 2 dims 2x3, CV_16UC1\n    channel 0: min 7, max 200, mean 167.833\n",
         ""},
        {"h5 print " + f + " run/metadata/spot --frames 2:", 0,
         "/run/metadata/spot (cvpoint, (3,)), frames 2:3\n  [2]: 2:-2\n", ""},
        {"h5 print " + f + " run/metadata/label --json --frames :2", 0,
         "{\"path\":\"/run/metadata/label\",\"type\":\"string\",\"shape\":[3],\"from\":0,\"to\":2,\"values\":"
         "[{\"frame\":0,\"value\":\"c\"},{\"frame\":1,\"value\":\"a\\\"b\"}]}\n",
         ""},
        {"h5 print " + f + " run/timestamps --frames 0:1", 0,
         "/run/timestamps (int64, (3,)), frames 0:1\n  [0]: 1700000000000000000\n", ""},
        {"h5 print " + f + " operator", 0, "/operator (string, scalar): Ada\\x1b\n", ""},
        {"h5 print " + f + " still --json", 0,
         "{\"path\":\"/still\",\"type\":\"frame\",\"shape\":[],\"value\":{\"image\":{\"shape\":[2,2],\"dtype\":"
         "\"uint8\",\"pixels\":[[5,5],[5,5]]},\"metadata\":{\"gain\":2.5}}}\n",
         ""},
        {"h5 summary " + f, 0,
         "recording /run:\n  3 frames, 2 dims 2x3, CV_16UC1\n  compression: none\n"
         "  timestamps: first 2023-11-14T22:13:20.000000000Z, last 2023-11-14T22:13:22.000000000Z, mean rate 1 "
         "frames/s\n"
         "1 recording in " +
             f + "\n",
         ""},
        {"h5 print " + f + " run/images --frames 2:9", 1, "", "--frames 2:9 lies outside the 3 frames"},
        {"h5 print " + f + " nothing", 1, "", "'nothing': no such object"},
        {"h5 print " + kDir + "missing.h5 x", 1, "", "cannot open '" + kDir + "missing.h5': no such file"},
        {"h5 print " + f + " operator --frames 0:1", 2, "",
         "--frames goes with a dataset of one element per frame, not 'operator'"},
        {"h5 print " + f + " run/images --frames 1-2", 2, "",
         "--frames takes A:B, frame numbers from A up to B (excluded), not 1-2"},
        {"h5 summary " + f + " --json", 2, "", "unknown option for 'h5 summary': --json"},
        {"h5 print " + f, 2, "", "h5 print takes FILE PATH"},
        {"h5 show " + f, 2, "", usage},
    };
    for (const auto& [args, code, out, error] : cases) expectRun(args, code, out, error);
}
