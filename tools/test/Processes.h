#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

/// The programs themselves, as children in a directory of their own. Nothing sleeps: whoever waits reads a
/// pipe.

namespace tools {

using Words = std::vector<std::string>;

/// A child whose standard output is read here.
class Child {
  public:
   explicit Child(const Words& words) {
      int ends[2];
      EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
      std::vector<char*> argv;
      for (const std::string& word : words)
         argv.push_back(const_cast<char*>(word.c_str()));
      argv.push_back(nullptr);
      pid_ = fork();
      if (pid_ == 0) {
         dup2(ends[1], STDOUT_FILENO);
         execv(argv[0], argv.data());
         _exit(127);
      }
      close(ends[1]);
      output_ = ends[0];
   }
   ~Child() {
      kill(SIGKILL);
      close(output_);
   }
   Child(const Child&) = delete;

   /// The next line; empty at the end.
   std::string line() {
      std::string text;
      for (char c; read(output_, &c, 1) == 1 && c != '\n';)
         text += c;
      return text;
   }
   std::string rest() {
      std::string text;
      char portion[4096];
      for (ssize_t got; (got = read(output_, portion, sizeof portion)) > 0;)
         text.append(portion, static_cast<std::size_t>(got));
      return text;
   }
   /// The exit status once it has ended; -1 when a signal ended it.
   int status() {
      if (pid_ > 0) {
         int status = 0;
         waitpid(pid_, &status, 0);
         status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
         pid_ = 0;
      }
      return status_;
   }
   int kill(int signal) {
      if (pid_ > 0)
         ::kill(pid_, signal);
      return status();
   }

  private:
   pid_t pid_ = 0;
   int output_ = -1;
   int status_ = -1;
};

/// A directory with a socket and a place for tables, and the programs in it.
struct ProcessFixture : testing::Test {
   ProcessFixture() {
      std::string name = std::filesystem::temp_directory_path() / "mpls-tools-XXXXXX";
      EXPECT_NE(mkdtemp(name.data()), nullptr);
      directory = name;
      std::filesystem::create_directory(directory / "tables");
      setenv("POOLTAB_DIR", (directory / "tables").c_str(), 1);
   }
   ~ProcessFixture() override { std::filesystem::remove_all(directory); }

   /// Starts a program that serves, and waits until it is ready.
   std::unique_ptr<Child> serve(Words words) {
      words.insert(words.begin() + 1, {"--socket", socket()});
      auto child = std::make_unique<Child>(words);
      EXPECT_EQ(child->line(), "ready");
      return child;
   }
   std::unique_ptr<Child> hubdbd(Words options = {}) {
      options.insert(options.begin(), HUBDBD);
      return serve(options);
   }
   std::unique_ptr<Child> agent(const std::string& verb) { return serve({MPLS_AGENT, verb}); }

   /// Runs mplsctl to its end, which must have this status, and returns what it printed.
   std::string mplsctl(const std::string& text, int status = 0) {
      Words words{MPLSCTL, "--socket", socket()};
      std::istringstream in(text);
      for (std::string word; in >> word;)
         words.push_back(word);
      Child child(words);
      const std::string printed = child.rest();
      EXPECT_EQ(child.status(), status) << "mplsctl " << text << "\n" << printed;
      return printed;
   }

   /// mplsctl fails with this status and says this on standard error.
   void expectRefusal(const std::string& text, const std::string& what, int status = 1) {
      Child child({"/bin/sh", "-c", std::string(MPLSCTL) + " --socket " + socket() + " " + text + " 2>&1"});
      const std::string said = child.rest();
      EXPECT_EQ(child.status(), status) << text;
      EXPECT_NE(said.find(what), std::string::npos) << text << "\n" << said;
   }

   std::string socket() const { return directory / "hubdb.sock"; }
   std::filesystem::path directory;
};

} // namespace tools
