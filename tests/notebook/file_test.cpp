// Where output goes: files that are replaced, and what is written through.
#include "notebook/files/file.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "notebook/files/notebook_error.h"
#include "notebook/files/operating_system.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<notebook>\n  <form name=\"F\" />\n</notebook>\n";

struct FileTest : ::testing::Test {
  FileTest() {
    WriteWholeFile(folder.File("n.xml"), kNotebook);
    setenv("KT", KT_NOTEBOOK_PROGRAM, 1);
  }
  // The exit status of a shell's command in the folder, where $KT is the program.
  int Shell(const std::string& command) const {
    const std::string line = "cd " + folder.path + " && " + command + " 2>messages";
    return WEXITSTATUS(std::system(line.c_str()));
  }
  std::string Content(const std::string& name) const { return ReadWholeFile(folder.File(name)); }
  // The names in the folder, sorted.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  TemporaryFolder folder;
};

// The exit status of a process of its own that does the work; -1 when a signal ended it.
template <typename Work>
int StatusOfProcess(Work work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Why the file was not written; "" when it was.
std::string Refusal(const std::string& file, std::string_view bytes) {
  try {
    WriteWholeFile(file, bytes);
  } catch (const NotebookError& error) {
    return error.what();
  }
  return "";
}

TEST_F(FileTest, WhatIsNoFileIsWrittenThrough) {
  const std::string between = "old\n" + std::string(kNotebook) + "new\n";
  const std::string run = "$KT recalculate n.xml -o ";
  const struct {
    std::string command;
    std::string log;
  } cases[] = {
      {"echo old >log; " + run + "/dev/stdout >>log && echo new >>log", between},
      {"(echo old; " + run + "/dev/stdout; echo new) >log", between},
      {"(echo old; " + run + "/proc/self/fd/1; echo new) >log", between},
      {"echo old >log; " + run + "/dev/fd/3 3>>log && echo new >>log", between},
      {"ln -s /dev/stdout out && echo old >log; " + run + "out >>log && echo new >>log", between},
      {"mkfifo p && (cat p >log & " + run + "p; wait)", std::string(kNotebook)},
      {"mkdir d && ln -s ../log d/link && echo old >log && " + run + "d/link && test -L d/link",
       std::string(kNotebook)},
      {"ln -s log a && ln -s a b && rm log && " + run + "b && test -L a -a -L b",
       std::string(kNotebook)},
      {run + "/dev/null; test -c /dev/null && echo kept >log", "kept\n"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Shell(row.command), 0) << row.command << '\n' << Content("messages");
    EXPECT_EQ(Content("log"), row.log) << row.command;
  }
}

TEST_F(FileTest, WhatCanNotBeWrittenIsRefusedWithTheReason) {
  const struct {
    std::string command;
    std::string reason;
  } cases[] = {
      {"ln -s b a; ln -s a b; $KT recalculate n.xml -o a", "a: Too many levels of symbolic links"},
      {"$KT recalculate n.xml -o /dev/full", "/dev/full: No space left on device"},
      {"$KT recalculate n.xml -o /dev/stdout >&-", "/dev/stdout: "},
      {"$KT recalculate n.xml -o /dev/fd/999999999999", "/dev/fd/999999999999: "},
      {"$KT recalculate n.xml -o .", ".: Is a directory"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Shell(row.command), 1) << row.command;
    EXPECT_EQ(Content("messages").find("ktnotebook: " + row.reason), 0U) << Content("messages");
  }
}

TEST_F(FileTest, ANewFileIsWhatTheOldOneWasBeforeItsFirstByte) {
  const std::string target = folder.File("t");
  const bool may_give_away = geteuid() == 0;
  for (const mode_t mode : {mode_t{0600}, mode_t{0444}, mode_t{0666}, mode_t{02750}}) {
    WriteWholeFile(target, "old");
    if (may_give_away) {
      ASSERT_EQ(chown(target.c_str(), 1234, 4321), 0);
    }
    ASSERT_EQ(chmod(target.c_str(), mode), 0);
    struct stat before {};
    ASSERT_EQ(stat(target.c_str(), &before), 0);
    {
      const Replacement unused(target);
      struct stat early {};
      ASSERT_EQ(fstat(fileno(unused.Stream()), &early), 0);
      EXPECT_EQ(early.st_mode, before.st_mode);
    }
    WriteWholeFile(target, "new");
    struct stat after {};
    ASSERT_EQ(stat(target.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(Content("t"), "new");
    EXPECT_EQ(Names(), (std::vector<std::string>{"n.xml", "t"}));
  }
}

TEST_F(FileTest, AnOwnerThatCanNotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  const std::string target = folder.File("t");
  WriteWholeFile(target, "old");
  ASSERT_EQ(chmod(folder.path.c_str(), 0777), 0);
  const int status = StatusOfProcess([&] {
    constexpr uid_t kSomebody = 65534;
    if (setgid(kSomebody) != 0 || setuid(kSomebody) != 0) return 2;
    return Refusal(target, "new") == target + ": Operation not permitted" ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Content("t"), "old");
  EXPECT_EQ(Names(), (std::vector<std::string>{"n.xml", "t"}));
}

TEST_F(FileTest, TheLongestNameIsWrittenAndReplaced) {
  const std::string name(255, 'n');
  for (const std::string text : {"first", "second"}) {
    EXPECT_EQ(Refusal(folder.File(name), text), "");
    EXPECT_EQ(Content(name), text);
  }
}

TEST_F(FileTest, AFailedWriteLeavesTheOldFileAndNothingElse) {
  const std::string target = folder.File("t");
  WriteWholeFile(target, "old");
  const int status = StatusOfProcess([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string long_text(1'000'000, 'x');
    return Refusal(target, long_text) == target + ": File too large" ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Content("t"), "old");
  EXPECT_EQ(Names(), (std::vector<std::string>{"n.xml", "t"}));
}

TEST_F(FileTest, AKilledWriterLeavesNothing) {
  {
    const Replacement visible(folder.File("t"));
    if (Names().size() > 1) GTEST_SKIP() << "the file system has no files without names";
  }
  const int status = StatusOfProcess([&] {
    const Replacement replacement(folder.File("t"));
    std::fputs("half", replacement.Stream());
    std::fflush(replacement.Stream());
    return raise(SIGKILL);
  });
  EXPECT_EQ(status, -1);
  EXPECT_EQ(Names(), (std::vector<std::string>{"n.xml"}));
}

TEST_F(FileTest, WhatIsDoneIsDoneThoughNobodyReadsTheReport) {
  ASSERT_EQ(Shell("$KT import " KT_SOURCE_DIR "/examples/aspirin.xml >log"), 0);
  const std::string set = "$KT set 'Aspirin/Products:Mass:ASA' ";
  const struct {
    std::string command;
    std::string mass;
  } cases[] = {
      {set + "'2.11 g' >&-", "2.11 g"},
      {set + "'2.12 g' >/dev/full", "2.12 g"},
      // A pipe whose reader is gone.
      {"mkfifo p; exec 3<>p 4>p 3>&-; " + set + "'2.13 g' >&4", "2.13 g"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Shell("(" + row.command + ")"), 0) << row.command;
    EXPECT_NE(Content("messages").find("note: the form \"Aspirin\" is changed all the same"),
              std::string::npos)
        << row.command << '\n'
        << Content("messages");
    ASSERT_EQ(Shell("$KT show Aspirin >log"), 0);
    EXPECT_NE(Content("log").find(row.mass), std::string::npos) << Content("log");
  }
}

}  // namespace
}  // namespace ktnotebook
