#include "host_tree.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

HostTree::HostTree() {
  // In memory where there is such a folder: thousands of hosts are made.
  const std::string place = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  root_ = place + "/companion_host_XXXXXX";
  mkdtemp(root_.data());
}

HostTree::~HostTree() { fs::remove_all(root_); }

void HostTree::MakeFolder(const std::string& path) const { fs::create_directories(root_ + path); }

void HostTree::Write(const std::string& path, const std::string& text, unsigned mode) const {
  fs::create_directories(fs::path(root_ + path).parent_path());
  std::ofstream(root_ + path) << text;
  chmod((root_ + path).c_str(), mode);
}

void HostTree::Link(const std::string& path, const std::string& target) const {
  fs::create_directories(fs::path(root_ + path).parent_path());
  fs::create_symlink(target, root_ + path);
}

void HostTree::WriteProgram(const std::string& path) const {
  Write(path, "#!/bin/sh\necho \"$@\" >>\"$0.ran\"\n", 0755);
}

std::string HostTree::Read(const std::string& path) const {
  std::ostringstream text;
  text << std::ifstream(root_ + path).rdbuf();
  return text.str();
}

bool HostTree::Has(const std::string& path) const {
  return fs::symlink_status(root_ + path).type() != fs::file_type::not_found;
}

std::map<std::string, std::string> HostTree::Everything() const {
  std::map<std::string, std::string> entries;
  for (const auto& entry : fs::recursive_directory_iterator(root_)) {
    struct stat status;
    lstat(entry.path().c_str(), &status);
    std::ostringstream words;
    words << std::oct << status.st_mode << ' ' << status.st_uid << ' ' << status.st_gid;
    if (S_ISREG(status.st_mode)) {
      words << ' ' << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << ' '
            << std::ifstream(entry.path()).rdbuf();
    }
    if (S_ISLNK(status.st_mode)) words << " -> " << fs::read_symlink(entry.path()).string();
    entries[entry.path().string().substr(root_.size())] = words.str();
  }
  return entries;
}
