#include <gtest/gtest.h>

#include "ADDN/ADDN.h"
#include "DSK/DSK.h"
#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;

HOST_Err scan_file(ADDN_PluginFile, void*) { return 0; }
HOST_Err finish_scan(void*) { return 0; }

TEST(DskExtensionMaps, MappedExtensionGivesItsFileType) {
  ASSERT_EQ(DSK_AddExtensionMap(".TST1", DSK_FOURCC('T', 'S', 'T', '1'), 0xFFFFFFFFu), KO_Err_None);
  EXPECT_EQ(DSK_FileTypeForExtension(".TST1"), DSK_FOURCC('T', 'S', 'T', '1'));
}

TEST(DskExtensionMaps, ExtensionsCompareWithoutCase) {
  ASSERT_EQ(DSK_AddExtensionMap(".MiXeD", 0x1234u, 0xFFFFFFFFu), KO_Err_None);
  EXPECT_EQ(DSK_FileTypeForExtension(".mixed"), 0x1234u);
  EXPECT_EQ(DSK_FileTypeForExtension(".MIXED"), 0x1234u);
}

TEST(DskExtensionMaps, UnknownExtensionGivesZero) {
  EXPECT_EQ(DSK_FileTypeForExtension(".never-mapped"), 0u);
  EXPECT_EQ(DSK_FileTypeForExtension(nullptr), 0u);
}

TEST(DskExtensionMaps, MappingAgainReplaces) {
  ASSERT_EQ(DSK_AddExtensionMap(".again", 1u, 0u), KO_Err_None);
  ASSERT_EQ(DSK_AddExtensionMap(".AGAIN", 2u, 0u), KO_Err_None);
  EXPECT_EQ(DSK_FileTypeForExtension(".again"), 2u);
}

TEST(DskExtensionMaps, MissingExtensionIsRejected) {
  EXPECT_EQ(DSK_AddExtensionMap(nullptr, 1u, 0u), KO_Err_Internal);
  EXPECT_EQ(DSK_AddExtensionMap("", 1u, 0u), KO_Err_Internal);
}

TEST(DskExtensionMaps, MapsAreNotOnTheBooks) {
  const Books before;
  ASSERT_EQ(DSK_AddExtensionMap(".books", 1u, 0u), KO_Err_None);
  EXPECT_TRUE(before.unchanged());
}

TEST(AddnScans, InstalledScanIsRecordedWithItsFields) {
  const Books before;
  const int32_t count = RXHost_InstalledScanCount();
  const ADDN_ScanTypes types{DSK_FOURCC('e', 'F', 'S', 'T'), DSK_FOURCC('.', 'Z', 'Q', 'X')};
  ASSERT_EQ(ADDN_InstallScan(0, 2, &types, scan_file, finish_scan, nullptr), KO_Err_None);
  ASSERT_EQ(RXHost_InstalledScanCount(), count + 1);
  uint32_t routine_type = 0, file_type = 0;
  void *scan = nullptr, *finish = nullptr;
  ASSERT_EQ(RXHost_InstalledScan(count, &routine_type, &file_type, &scan, &finish), KO_Err_None);
  EXPECT_EQ(routine_type, DSK_FOURCC('e', 'F', 'S', 'T'));
  EXPECT_EQ(file_type, DSK_FOURCC('.', 'Z', 'Q', 'X'));
  EXPECT_EQ(scan, reinterpret_cast<void*>(&scan_file));
  EXPECT_EQ(finish, reinterpret_cast<void*>(&finish_scan));
  EXPECT_TRUE(before.unchanged());
}

TEST(AddnScans, OutPointersMayBeNull) {
  const ADDN_ScanTypes types{1u, 2u};
  ASSERT_EQ(ADDN_InstallScan(0, 2, &types, scan_file, nullptr, nullptr), KO_Err_None);
  EXPECT_EQ(RXHost_InstalledScan(RXHost_InstalledScanCount() - 1, nullptr, nullptr, nullptr, nullptr),
            KO_Err_None);
}

TEST(AddnScans, BadIndexIsRejected) {
  uint32_t routine_type = 0;
  EXPECT_EQ(RXHost_InstalledScan(-1, &routine_type, nullptr, nullptr, nullptr), KO_Err_Internal);
  EXPECT_EQ(RXHost_InstalledScan(RXHost_InstalledScanCount(), &routine_type, nullptr, nullptr,
                                 nullptr),
            KO_Err_Internal);
}

TEST(AddnScans, ScanWithoutTypesOrRoutineIsRejected) {
  const int32_t count = RXHost_InstalledScanCount();
  const ADDN_ScanTypes types{1u, 2u};
  EXPECT_EQ(ADDN_InstallScan(0, 2, nullptr, scan_file, finish_scan, nullptr), KO_Err_Internal);
  EXPECT_EQ(ADDN_InstallScan(0, 2, &types, nullptr, finish_scan, nullptr), KO_Err_Internal);
  EXPECT_EQ(RXHost_InstalledScanCount(), count);
}

}  // namespace
