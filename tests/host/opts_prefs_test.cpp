// Preferences from an INI file: sections, keys with blanks, comments, the
// last of repeated keys, a missing file, damage and an unreadable file.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "OPTS/OPTS.h"

namespace {

class Prefs : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("rx-opts-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir_);
    path_ = (dir_ / "prefs.ini").string();
    if (const char* old = std::getenv("RX_PREFS")) old_ = old, had_ = true;
    setenv("RX_PREFS", path_.c_str(), 1);
  }
  void TearDown() override {
    if (had_) setenv("RX_PREFS", old_.c_str(), 1);
    else unsetenv("RX_PREFS");
    std::filesystem::remove_all(dir_);
  }
  void write(const std::string& text) { std::ofstream(path_) << text; }
  std::string get(const char* section, const char* key, HOST_Err* err = nullptr, int32_t* found = nullptr) {
    char buffer[128];
    int32_t f = -1;
    const HOST_Err e = OPTS_GetTextPrefData(section, key, buffer, sizeof buffer, &f);
    if (err) *err = e;
    if (found) *found = f;
    return buffer;
  }

  std::filesystem::path dir_;
  std::string path_, old_;
  bool had_ = false;
};

TEST_F(Prefs, ReadsAKeyOfASectionWithBlanksInside) {
  write("; comment\n# another\n\n[Display Transform Section]\n"
        "  Clip over range in Display Transform when not Theater Preview  =  true \n[Other]\nkey=1\n");
  int32_t found = 0;
  EXPECT_EQ(get("Display Transform Section", "Clip over range in Display Transform when not Theater Preview",
                nullptr, &found),
            "true");
  EXPECT_EQ(found, 1);
  EXPECT_EQ(get("Other", "key"), "1");
  EXPECT_STREQ(OPTS_PrefsPath(), path_.c_str());
}

TEST_F(Prefs, AbsentKeysSectionsAndFilesAreNotErrors) {
  write("[A]\nx = 1\n");
  HOST_Err err = -1;
  int32_t found = -1;
  EXPECT_EQ(get("A", "y", &err, &found), "");
  EXPECT_EQ(err, OPTS_Err_None);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(get("B", "x", &err, &found), "");
  EXPECT_EQ(found, 0);
  std::filesystem::remove(path_);
  EXPECT_EQ(get("A", "x", &err, &found), "");
  EXPECT_EQ(err, OPTS_Err_None);
  EXPECT_EQ(found, 0);
}

TEST_F(Prefs, TheLastOfARepeatedKeyCountsAndKeysBeforeASectionAreUnnamed) {
  write("top = a\n[S]\nk = first\nk = second\n");
  EXPECT_EQ(get("S", "k"), "second");
  EXPECT_EQ(get("", "top"), "a");
}

TEST_F(Prefs, ValuesAreCutToTheBuffer) {
  write("[S]\nk = abcdefgh\n");
  char small[4];
  int32_t found = 0;
  EXPECT_EQ(OPTS_GetTextPrefData("S", "k", small, sizeof small, &found), OPTS_Err_None);
  EXPECT_STREQ(small, "abc");
  EXPECT_EQ(OPTS_GetTextPrefData("S", "k", small, 0, &found), OPTS_Err_Internal);
  EXPECT_EQ(OPTS_GetTextPrefData(nullptr, "k", small, 4, &found), OPTS_Err_Internal);
}

TEST_F(Prefs, DamageIsAnErrorWithNothingFound) {
  HOST_Err err = 0;
  int32_t found = -1;
  write("[S]\nk = v\nno equals sign here\n");
  EXPECT_EQ(get("S", "k", &err, &found), "");
  EXPECT_EQ(err, OPTS_Err_Damaged);
  EXPECT_EQ(found, 0);
  write("[S\nk = v\n");
  get("S", "k", &err);
  EXPECT_EQ(err, OPTS_Err_Damaged);
  write("[S]\nk = " + std::string(10000, 'x') + "\n");
  get("S", "k", &err);
  EXPECT_EQ(err, OPTS_Err_Damaged);
}

TEST_F(Prefs, AFileThatCannotBeReadIsAnError) {
  std::filesystem::create_directories(path_);  // a directory where the file should be
  HOST_Err err = 0;
  get("S", "k", &err);
  EXPECT_EQ(err, OPTS_Err_Unreadable);
}

TEST(PrefsPath, FallsBackToTheConfigDirectories) {
  const char* old_prefs = std::getenv("RX_PREFS");
  const std::string saved_prefs = old_prefs ? old_prefs : "";
  const char* old_xdg = std::getenv("XDG_CONFIG_HOME");
  const std::string saved_xdg = old_xdg ? old_xdg : "";
  unsetenv("RX_PREFS");
  setenv("XDG_CONFIG_HOME", "/some/config", 1);
  EXPECT_STREQ(OPTS_PrefsPath(), "/some/config/rx/prefs.ini");
  unsetenv("XDG_CONFIG_HOME");
  setenv("HOME", std::getenv("HOME") ? std::getenv("HOME") : "/home/x", 1);
  EXPECT_EQ(std::string(OPTS_PrefsPath()), std::string(std::getenv("HOME")) + "/.config/rx/prefs.ini");
  if (old_prefs) setenv("RX_PREFS", saved_prefs.c_str(), 1);
  if (old_xdg) setenv("XDG_CONFIG_HOME", saved_xdg.c_str(), 1);
}

}  // namespace
