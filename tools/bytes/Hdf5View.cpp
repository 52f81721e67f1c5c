// zarvo-inspect h5: looks into an HDF5 recording without writing code. Everything goes
// through zarvo_hdf5's readers, so a damaged or foreign file ends in one line saying
// what did not fit.
#include "tools/bytes/Hdf5View.h"

#include <iomanip>
#include <iostream>
#include <string>

#include "hdf5/RecordingFile.h"

namespace inspect {

namespace {

using zarvo::exp::DataStorage;
using zarvo::hdf5::RecordingFile;

const char* const kH5Usage =
    "usage: zarvo-inspect h5 list FILE\n"
    "       zarvo-inspect h5 print FILE PATH\n"
    "list shows every object of the HDF5 file: path, registered name (zarvo_type) and shape.\n"
    "print shows the value at PATH in its text form, or each entry of the storage at PATH.\n";

void printStorage(const DataStorage<std::string>& storage, const std::string& prefix) {
    for (const auto& [key, value] : storage) {
        if (const auto* group = DataStorage<std::string>::groupOf(*value))
            printStorage(*group, prefix + key + ".");
        else
            std::cout << prefix << key << " (" << value->getTypeString() << "): " << value->toString() << "\n";
    }
}

int list(const RecordingFile& file) {
    std::cout << std::left << std::setw(48) << "path" << std::setw(14) << "type" << "shape\n";
    for (const RecordingFile::Entry& entry : file.list())
        std::cout << std::setw(48) << entry.path << std::setw(14) << (entry.typeName.empty() ? "-" : entry.typeName)
                  << entry.shape << "\n";
    return 0;
}

int print(const RecordingFile& file, const std::string& path) {
    for (const RecordingFile::Entry& entry : file.list()) {
        if (entry.path != path && entry.path != "/" + path) continue;
        if (!entry.shape.empty()) {
            const auto value = file.readValue(path);
            std::cout << path << " (" << value->getTypeString() << ", " << entry.shape << "): " << value->toString() << "\n";
        } else {
            printStorage(file.readStorage(path), "");
        }
        return 0;
    }
    throw zarvo::Exception("'" + path + "': no such object", "");
}

}  // namespace

int runH5(int argc, char** argv) {
    const std::string command = argc > 2 ? argv[2] : "";
    if (!((command == "list" && argc == 4) || (command == "print" && argc == 5))) {
        std::cerr << "zarvo-inspect: h5 takes 'list FILE' or 'print FILE PATH'\n" << kH5Usage;
        return 2;
    }
    try {
        const RecordingFile file = RecordingFile::openReadOnly(argv[3]);
        return command == "list" ? list(file) : print(file, argv[4]);
    } catch (const std::exception& error) {
        std::cerr << "zarvo-inspect: " << error.what() << "\n";
        return 1;
    }
}

}  // namespace inspect
