#pragma once

#include <map>
#include <string>

#include "companion/host/host.h"

// A host's file tree, as far as it says how names are asked for, in a folder of its own.
class HostTree {
 public:
  HostTree();
  HostTree(const HostTree&) = delete;
  HostTree& operator=(const HostTree&) = delete;
  ~HostTree();

  ctl::HostPlaces places() const { return {root_}; }
  void Write(const std::string& path, const std::string& text, unsigned mode = 0644) const;
  void Link(const std::string& path, const std::string& target) const;
  void MakeFolder(const std::string& path) const;
  /// A program that writes its arguments into the file of the same name with ".ran" behind it.
  void WriteProgram(const std::string& path) const;
  std::string Read(const std::string& path) const;
  bool Has(const std::string& path) const;

  /// Every entry with all that could have changed: kind, mode, owner, time, target, content.
  std::map<std::string, std::string> Everything() const;

 private:
  std::string root_;
};
