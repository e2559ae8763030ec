#include "tests/programs/lsof/listing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "kit/tools/process_runner.h"
#include "platform/system.h"

namespace tavrine {
namespace {

Listing parsed(const ProcessResult& result) {
  Listing listing{result.status, result.output, {}};
  std::istringstream lines(result.output);
  Listing::Entry* entry = nullptr;
  std::string descriptor;
  for (std::string line; std::getline(lines, line);) {
    const std::string rest = line.substr(std::min<size_t>(1, line.size()));
    if (line.starts_with('p')) entry = &listing.processes[std::atoi(rest.c_str())];
    if (line.starts_with('c') && entry != nullptr) entry->command = rest;
    if (line.starts_with('f')) descriptor = rest;
    if (line.starts_with('a') && entry != nullptr) entry->files.insert(descriptor + " " + rest);
  }
  return listing;
}

Listing quietlyListed(const std::vector<std::string>& arguments) {
  const Listing listing = listed(arguments);
  EXPECT_EQ(listing.status, 0);
  EXPECT_EQ(listing.text.find("lsof: "), std::string::npos) << listing.text;
  return listing;
}

}  // namespace

std::multiset<std::string> Listing::filesOf(int pid) const {
  const auto found = processes.find(pid);
  return found == processes.end() ? std::multiset<std::string>() : found->second.files;
}

Listing listedTree(const Path& path) {
  return quietlyListed({"-F", "pcfa", "+D", path.string()});
}

Listing listedFile(const Path& path) {
  return quietlyListed({"-F", "pcfa", path.string()});
}

Listing listed(const std::vector<std::string>& arguments) {
  return parsed(ProcessRunner::run(toolPath("lsof"), arguments));
}

Listing listedBy(const std::string& script, const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"-c", "LSOF=$1; shift; " + script, "sh", toolPath("lsof").string()};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return parsed(ProcessRunner::run("/bin/sh", all));
}

bool hasJudge() {
  return ::access(judge, X_OK) == 0;
}

std::multiset<std::string> judgedFiles(int pid, const Path& tree) {
  const auto answer = ProcessRunner::run(judge, {"-w", "-F", "fan", "-p", std::to_string(pid)});
  std::istringstream lines(answer.output);
  std::multiset<std::string> files;
  std::string descriptor;
  std::string access;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('f')) descriptor = line == "fDEL" ? "mem" : line.substr(1);
    if (line.starts_with('a')) access = line.substr(1);
    const std::string name = line.substr(1);
    if (line.starts_with('n') && (name + "/").starts_with(tree.string() + "/")) files.insert(descriptor + " " + access);
  }
  return files;
}

}  // namespace tavrine
