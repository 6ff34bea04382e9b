// The commands on files and bytes, as far as another program's are not their measure
// (check_peers): what they refuse, where bytes go, and log files that are moved aside.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using testing::contentOf;
using testing::countOf;
using testing::errorsOf;
using ::testing::HasSubstr;
using testing::outputOf;
using testing::Program;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

class BvdiagBytes : public ::testing::Test {
 protected:
  BvdiagBytes() { writeFile(file, "what do ya want for nothing?"); }

  const TemporaryFolder folder;
  const std::string file = folder / "file";
  const std::string output = folder / "output";
};

TEST_F(BvdiagBytes, ChecksumsGoOnAfterAFileThatCannotBeRead) {
  Program program({"--json", "digest", folder / "missing", file, folder.path()});
  EXPECT_EQ(program.status(), 1);
  EXPECT_THAT(
      program.output,
      AllOf(StartsWith(R"({"error":")" + (folder / "missing") + ": No such"),
            HasSubstr(R"("file":")" + file +
                      R"(","ok":true,"sha1":"8f820394f95335182045da24f34de52bf8bc3432"})")));
  EXPECT_EQ(countOf(program.output, "\"ok\":false"), 2U);
  EXPECT_THAT(program.errors, AllOf(HasSubstr("missing: No such file or directory; "),
                                    HasSubstr(": Is a directory; ")));
}

TEST_F(BvdiagBytes, ASignalEndsAReadingThatNeverPauses) {
  Program program({"crc32", file, "/dev/zero", file});
  EXPECT_TRUE(program.prints("\n"));
  program.signal(SIGTERM);
  EXPECT_EQ(program.status(), 143);
  EXPECT_EQ(countOf(program.output, "\n"), 1U);
}

TEST_F(BvdiagBytes, ChecksumsOfALargeFileTakeLittleMemoryAndTellHowFarTheyAre) {
  constexpr std::uintmax_t kSize = std::uintmax_t{256} << 20U;
  fs::resize_file(file, kSize);
  writeFile(folder / "key", "key");
  for (std::vector<std::string> arguments : std::vector<std::vector<std::string>>{
           {"crc32"}, {"digest"}, {"hmac", "--key-file", folder / "key"}}) {
    arguments.push_back(file);
    Program program(arguments);
    EXPECT_EQ(program.status(), 0);
    EXPECT_LT(program.mostMemory, 200 << 10) << arguments.front();
  }
  fs::resize_file(file, kSize << 9U);
  Program program({"digest", file}, {.terminal = true});
  EXPECT_TRUE(program.prints("iB of 128.0 GiB (Ctrl-C ends it)")) << program.output;
}

TEST_F(BvdiagBytes, AFileThatMemoryDoesNotHoldIsNotCalledMissing) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer takes all the address space";
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
  GTEST_SKIP() << "a sanitizer takes all the address space";
#endif
#endif
  fs::resize_file(file, std::uintmax_t{1} << 30U);
  const testing::Setting setting{.memory = rlim_t{512} << 20U};
  Program program({"base64", file}, setting);
  EXPECT_EQ(program.status(), 1);
  EXPECT_EQ(program.errors,
            "bvdiag: " + file + ": Cannot allocate memory; the file is too large for the memory\n");
}

TEST_F(BvdiagBytes, ANameWithEscapesIsMarked) {
  writeFile(folder / "a\nb", "");
  EXPECT_THAT(outputOf({"crc32", folder / "a\nb"}), StartsWith("\\00000000  "));
}

TEST_F(BvdiagBytes, KeysComeFromAFileOrTheEnvironmentAlone) {
  const std::string code = "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79  " + file + "\n";
  Program fromEnvironment({"hmac", "--key-env", "BENCH_KEY", file}, {false, {"BENCH_KEY=Jefe"}});
  EXPECT_EQ(fromEnvironment.status(), 0);
  EXPECT_EQ(fromEnvironment.output, code);
  writeFile(folder / "key", "4a 65 66 65\n");
  EXPECT_EQ(outputOf({"hmac", "--key-file", folder / "key", "--hex-key", file}), code);
  EXPECT_THAT(errorsOf({"hmac", "--key-env", "BENCH_KEY", file}, 1),
              HasSubstr("the environment has no BENCH_KEY"));
  EXPECT_THAT(errorsOf({"hmac", "--key-file", file, "--hex-key", file}, 1),
              HasSubstr("is not hexadecimal"));
  EXPECT_EQ(errorsOf({"hmac", "--key-file", "/dev/zero", file}, 1),
            "bvdiag: /dev/zero: File too large\n");
  EXPECT_THAT(errorsOf({"hmac", file}, 2), HasSubstr("exactly one of --key-file and --key-env"));
  EXPECT_THAT(errorsOf({"hmac", "--key-file", "-"}, 2), HasSubstr("must be a name"));
  EXPECT_THAT(errorsOf({"hmac", "--key-env", "", file}, 2), HasSubstr("must be a name"));
  EXPECT_THAT(errorsOf({"hmac", "--key-file", file, "--key-env", "HOME", file}, 2),
              HasSubstr("exactly one of --key-file and --key-env"));
}

TEST_F(BvdiagBytes, CiphersTellTheCauseAndItsNumberAndReplaceNoFile) {
  const std::vector<std::string> decrypt = {"decrypt", "--key-file", file,
                                            file,      "--output",   output};
  EXPECT_THAT(
      errorsOf(decrypt, 1),
      AllOf(HasSubstr(file + ": the input is not a whole number of blocks"), HasSubstr("(-4)")));
  EXPECT_FALSE(fs::exists(output));
  writeFile(folder / "empty", "");
  EXPECT_THAT(errorsOf({"encrypt", "--algorithm", "rc4", "--key-file", folder / "empty", file}, 1),
              HasSubstr("key: is empty"));
  EXPECT_THAT(errorsOf({"encrypt", "--vector", "0", "--key-file", file, file}, 1),
              HasSubstr("--vector: is not hexa"));
  EXPECT_THAT(errorsOf({"encrypt", "--algorithm", "rot13", "--key-file", file, file}, 2),
              HasSubstr("rot13"));
  outputOf({"encrypt", "--key-file", file, file, "--output", output});
  const std::string encrypted = contentOf(output);
  EXPECT_THAT(errorsOf({"random", "5", "--output", output}, 1),
              HasSubstr("File exists; name a new file"));
  EXPECT_EQ(contentOf(output), encrypted);
  EXPECT_EQ(outputOf({"decrypt", "--key-file", file, output}), contentOf(file));
}

TEST_F(BvdiagBytes, RandomBytesAreCounted) {
  EXPECT_EQ(outputOf({"random", "5"}).size(), 5U);
  EXPECT_EQ(outputOf({"random", "5", "--hex"}).size(), 11U);
  for (const char* const wrong : {"-1", "3x", "010", "", "99999999999999999999"})
    EXPECT_THAT(errorsOf({"random", "--", wrong}, 2), HasSubstr("must be a n"));
  EXPECT_EQ(outputOf({"random", "5", "--output", output}), "");
  EXPECT_EQ(fs::status(output).permissions(), fs::perms(0600));  // it may be a key
  EXPECT_THAT(errorsOf({"random", "5", "--output", ""}, 2), HasSubstr("must be a name"));
}

TEST_F(BvdiagBytes, RawBytesReachNoTerminal) {
  writeFile(folder / "hex", "1b5b324a");
  Program onTerminal({"hex", "--decode", folder / "hex"}, {true, {}});
  EXPECT_EQ(onTerminal.status(), 0);
  EXPECT_THAT(onTerminal.output, StartsWith("00000000  1B 5B 32 4A"));
  EXPECT_EQ(outputOf({"hex", "--decode", folder / "hex"}), "\x1b[2J");
  EXPECT_EQ(outputOf({"hex", "--percent", folder / "hex"}), "%31%62%35%62%33%32%34%61\n");
  EXPECT_THAT(errorsOf({"hex", "--decode", file}, 1), HasSubstr("is not hex; expected pairs"));
  EXPECT_THAT(errorsOf({"base64", "--decode", file}, 1), HasSubstr("is not base64; expected"));
}

TEST_F(BvdiagBytes, PropertyListsAreMadeOfJsonObjectsWithoutNulls) {
  writeFile(file, R"({"a": [1, true, "x"]})");
  EXPECT_EQ(outputOf({"plist", file, output}), "");
  EXPECT_THAT(contentOf(output), StartsWith("bplist00"));
  errorsOf({"plist", file, "-"}, 2);
  const std::pair<const char*, const char*> wrongs[] = {
      {"[1]", "is no JSON object"},
      {"{", "is not JSON"},
      {R"({"a": null})", "a property list holds no null"}};
  for (const auto& [wrong, why] : wrongs) {
    writeFile(file, wrong);
    const std::string before = contentOf(output);
    EXPECT_THAT(errorsOf({"plist", file, output}, 1),
                AllOf(StartsWith("bvdiag: " + file), HasSubstr(why)));
    EXPECT_EQ(contentOf(output), before);
  }
}

TEST_F(BvdiagBytes, LogsAreMovedAsideUnderADatedNameOrAGivenOne) {
  const std::string log = folder / "run.log";
  writeFile(log, "a line\n");
  const std::string moved = outputOf({"log", "backup", log});
  EXPECT_THAT(moved, AllOf(StartsWith(folder / "run_2"), HasSubstr(".log\n")));
  EXPECT_EQ(contentOf(moved.substr(0, moved.size() - 1)), "a line\n");
  EXPECT_THAT(errorsOf({"log", "backup", log}, 1), HasSubstr("No such file or directory"));
  writeFile(log, "another\n");
  EXPECT_THAT(errorsOf({"log", "backup", log, "--to", file}, 1), HasSubstr("File exists"));
  errorsOf({"log", "backup", log, "--to", ""}, 1);
  EXPECT_EQ(contentOf(log), "another\n");
  EXPECT_EQ(outputOf({"--json", "log", "backup", log, "--to", output}),
            "{\"backup\":\"" + output + "\",\"file\":\"" + log + "\",\"ok\":true}\n");
  EXPECT_EQ(contentOf(output), "another\n");
  // As a message, it stands after the dashes.
  outputOf({"log", "--file", log, "--", "backup"});
  EXPECT_THAT(contentOf(log), HasSubstr(" backup \n"));
  EXPECT_THAT(errorsOf({"log", "--file", log}, 2), HasSubstr("MESSAGE"));
  EXPECT_THAT(errorsOf({"log", "--file", log, "backup", log}, 2), HasSubstr("--file"));
}

}  // namespace
}  // namespace brisvane
