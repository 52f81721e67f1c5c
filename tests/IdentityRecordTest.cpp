#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/ProbeValue.h"
#include "tests/TestSupport.h"

using zarvo::CalibrationInfo;
using zarvo::DeviceInfo;
using zarvo::DeviceInfo2;
using zarvo::ProbeValue;
using zarvo::exp::no_swap;
using zarvo::exp::swap;
using namespace testsupport;

TEST(DeviceInfo, ProbeValueAndBothDeviceGenerations) {
    const ProbeValue probe(1.5f, -2, 7);
    EXPECT_EQ(recordBytes(probe, no_swap), hex("00 00 c0 3f fe 07"));
    EXPECT_EQ(recordBytes(probe, swap), hex("3f c0 00 00 fe 07"));
    EXPECT_EQ(ProbeValue(3.14159265f, -2, 255).toString(), "Value: 3.14159\nPrecision: -2\nStatus: 255");

    const DeviceInfo first(0x0102030405060708, 9, 0x0A0B0C0D, 0x0E0F, "2024-01-31");
    const DeviceInfo2 second(0x0102030405060708, 9, 0x0A0B0C0D, 0x0F, 0x0E, "2024-01-31");
    const std::string head = "08 07 06 05 04 03 02 01 09 00 00 00 00 00 00 00 0d 0c 0b 0a";
    const std::string swappedHead = "01 02 03 04 05 06 07 08 00 00 00 00 00 00 00 09 0a 0b 0c 0d";
    EXPECT_EQ(recordBytes(first, no_swap), hex(head + " 0f 0e 0a 00 00 00") + "2024-01-31");
    EXPECT_EQ(recordBytes(second, no_swap), hex(head + " 0f 0e 0a 00 00 00") + "2024-01-31");
    EXPECT_EQ(recordBytes(first, swap), hex(swappedHead + " 0e 0f 00 00 00 0a") + "2024-01-31");
    EXPECT_EQ(recordBytes(second, swap), hex(swappedHead + " 0f 0e 00 00 00 0a") + "2024-01-31");
    // The generations share one layout: each reads the other's bytes.
    const DeviceInfo2 crossed = readBack<DeviceInfo2>(recordBytes(first, no_swap), no_swap);
    EXPECT_TRUE(crossed.getBoardIndex() == 0x0F && crossed.getPlacementIndex() == 0x0E &&
                crossed.getDeviceType() == 0x0A0B0C0Du && crossed.getProductionDate() == "2024-01-31");
    EXPECT_EQ(readBack<DeviceInfo>(recordBytes(second, swap), swap).getBoardIndex(), 0x0F0E);

    EXPECT_EQ(first.toString(),
              "DeviceSerial:    72623859790382856\nBoardSerial:     9\nBoardType:       168496141\n"
              "ProductionDate:  2024-01-31\nBoardIndex:      3599");
    EXPECT_EQ(second.toString(),
              "DeviceSerial:   72623859790382856\nBoardSerial:    9\nDeviceType:     168496141\n"
              "ProductionDate: 2024-01-31\nBoardIndex:     15\nPlacementIndex: 14");
    EXPECT_EQ(DeviceInfo().toString(),
              "DeviceSerial:    0\nBoardSerial:     0\nBoardType:       0\nProductionDate:  \nBoardIndex:      0");
}

TEST(CalibrationInfo, BytesUnsetFieldsAndBuffers) {
    const CalibrationInfo record(5, "CERT-1", 0x01020304, 0x0A0B0C0D, 0xBEEF);
    const std::string certificate = "CERT-1" + std::string(11, '\0');
    EXPECT_EQ(recordBytes(record, no_swap), hex("05") + certificate + hex("04 03 02 01 0d 0c 0b 0a ef be 00 00 00 00"));
    EXPECT_EQ(recordBytes(record, swap), hex("05") + certificate + hex("01 02 03 04 0a 0b 0c 0d be ef 00 00 00 00"));

    // What survives a round trip: written record, the record read back.
    const std::string seventeen = "ABCDEFGHIJKLMNOPQ";
    const std::pair<CalibrationInfo, CalibrationInfo> trips[] = {
        {CalibrationInfo(1, seventeen + "R", 1, 2, 3), CalibrationInfo(1, seventeen, 1, 2, 3)},
        {CalibrationInfo(1, seventeen, 1, 2, 3), CalibrationInfo(1, seventeen, 1, 2, 3)},
        {CalibrationInfo(1, "AB", 0xFFFFFFFF, -1, 0xFFFF), CalibrationInfo(1, "AB", 0, 0, 0)},
        {CalibrationInfo(1, std::string(17, '\xFF'), 7, 0, 0), CalibrationInfo(1, "", 7, 0, 0)}};
    for (const auto& [written, read] : trips)
        for (auto endian : {swap, no_swap})
            EXPECT_EQ(readBack<CalibrationInfo>(recordBytes(written, endian), endian), read) << written.toString();
    EXPECT_NE(trips[0].first, trips[0].second);
    EXPECT_EQ(CalibrationInfo(65, "", -2, 3, 65535).toString(),
              "CalibrationInfo:\nContentType: 65\nCertificateNumber: \nExpireDate: 4294967294\nIssueDate: 3\n"
              "Checksum: 65535\n");

    // Buffers of records: no count, a short tail ignored.
    const std::vector<CalibrationInfo> records = {CalibrationInfo(1, "A", 10, 20, 30), CalibrationInfo()};
    const std::vector<char> buffer = CalibrationInfo::setCalibrationInfoToBuffer(records);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()),
              recordBytes(records[0], no_swap) + recordBytes(records[1], no_swap));
    EXPECT_TRUE(CalibrationInfo::setCalibrationInfoToBuffer({}).empty());

    std::vector<char> longer = buffer;
    longer.resize(70, '\x42');
    EXPECT_EQ(CalibrationInfo::getCalibrationInfoFromBuffer(longer), records);  // 6 bytes ignored
    EXPECT_TRUE(CalibrationInfo::getCalibrationInfoFromBuffer(std::vector<char>(31, '\x42')).empty());
    EXPECT_EQ(CalibrationInfo::getCalibrationInfoFromBuffer(std::vector<char>(64, '\xFF')),
              std::vector<CalibrationInfo>(2, CalibrationInfo(255, "", 0, 0, 0)));
}
