// A real PostgreSQL server for tests, and programs in processes of their own.
#pragma once

#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "notebook/files/notebook_error.h"
#include "notebook/program.h"

namespace ktnotebook {

// Runs a shell's command line in a process of its own.
inline pid_t Start(const std::string& command) {
  const pid_t child = fork();
  if (child != 0) return child;
  execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  _exit(127);
}

inline bool Succeeds(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

inline void Check(const std::string& command, const std::string& failure) {
  if (!Succeeds(Start(command))) throw NotebookError("no PostgreSQL server: " + failure);
}

// A server in a temporary folder that listens on a socket there and nowhere else.
struct PostgresServer {
  PostgresServer() {
    Check("ls /usr/lib/postgresql/*/bin/postgres >/dev/null", "install the package postgresql");
    // The server refuses to be root's. It ends with the test, even when that crashes.
    const bool is_root = getuid() == 0;
    const std::string user = is_root ? "--reuid postgres --regid postgres --init-groups " : "";
    const std::string run = "cd " + folder.path + "; exec setpriv --pdeathsig INT " + user +
                            "$(ls -d /usr/lib/postgresql/*/bin | tail -n 1)/";
    if (is_root) Check("chown postgres " + folder.path, "its folder can not be given away");
    Check(run + "initdb -U postgres -A trust -E UTF8 --no-locale -N data >/dev/null", "initdb");
    process = Start(run + "postgres -F -h '' -k $PWD -D data >log 2>&1");
    Check("cd " + folder.path + "; for i in $(seq 300); do sleep 0.1; " +
              "grep -qs ready data/postmaster.pid && exit; done; cat log; exit 1",
          "it does not start");
  }
  ~PostgresServer() {
    kill(process, SIGINT);
    waitpid(process, nullptr, 0);
  }
  std::string Url(const std::string& database) const {
    return "postgresql://postgres@/" + database + "?host=" + folder.path;
  }

  TemporaryFolder folder;
  pid_t process = 0;
};

}  // namespace ktnotebook
