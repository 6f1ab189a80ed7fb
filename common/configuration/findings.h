#pragma once

#include <cstddef>
#include <string>

#include "common/configuration/configuration_text.h"
#include "common/output/json_writer.h"

namespace ctl {

/// An error makes questions go wrong: they are dropped, circle or are wrongly answered, or there is
/// no service at all. A warning is a line that does less than, or other than, it seems to.
enum class Severity { kWarning, kError };

/// One thing in a file that will not do what its author meant.
struct Finding {
  /// Counted from 1; 0 when it is about the file as a whole.
  std::size_t line;
  Severity severity;
  /// What the file says.
  std::string what;
  /// What the proxy will do about it, exactly.
  std::string effect;
  /// Whether a proxy with it serves nobody or does harm, so that it is better not started.
  bool keeps_from_starting = false;
};

/// Counts findings and prints them as they come, unless only the counts are wanted.
class Report {
 public:
  /// kTextForStart: what keeps the proxy from starting comes last, so that it is among the last
  /// lines of a journal.
  enum class Form { kText, kTextForStart, kJson, kCountsOnly };

  explicit Report(Form form);
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  /// The findings that follow are about `path`.
  void BeginFile(const std::string& path) { path_ = path; }

  void Add(const Finding& finding);
  void Error(std::size_t line, std::string what, std::string effect);
  void Warning(std::size_t line, std::string what, std::string effect);
  /// An error that keeps the proxy from being started.
  void Obstacle(std::size_t line, std::string what, std::string effect);

  /// Prints what comes after the last finding: how much was read, and how many findings there were.
  void Finish(std::size_t servers, std::size_t host_map_entries);

  std::size_t errors() const { return errors_; }
  std::size_t warnings() const { return warnings_; }
  /// How many of the errors keep the proxy from being started.
  std::size_t obstacles() const { return obstacles_; }

 private:
  void PrintJson(const Finding& finding);
  std::string TextOf(const Finding& finding) const;

  Form form_;
  JsonWriter json_;
  std::string path_;
  std::string last_lines_;
  std::size_t errors_ = 0;
  std::size_t warnings_ = 0;
  std::size_t obstacles_ = 0;
};

/// "1 error, 2 warnings", or "nothing to report".
std::string CountsInWords(std::size_t errors, std::size_t warnings);

/// The proxy's list of resolution methods, as long as the two files make it.
struct MethodList {
  std::size_t servers = 0;
  bool has_host_map = false;

  std::size_t Length() const { return servers + (has_host_map ? 1 : 0); }

  /// How long a query believes the list to be: the length is kept in 16 bits.
  std::size_t LengthAsSeen() const { return Length() & 0xFFFF; }

  /// The line of the server at `position` in the list, counted from 0.
  std::size_t ServerLine(std::size_t position) const { return position + (has_host_map ? 0 : 1); }

  /// Whether a reverse name finds a method behind the position that marks it.
  bool ReachesReverseNames() const;
  /// Whether a query's position in the list comes round to 0 again before it reaches the end.
  bool Circles() const;
};

/// What is wrong with the list as a whole: too short, or longer than its counters. The report's
/// file is that of the servers.
void CheckMethodList(const MethodList& list, Report& report);

/// Finds, line by line, the servers that will not be asked in the way that their line suggests.
void CheckServers(const ServerFileText& file, Report& report);

/// Finds, line by line, the entries that will not be found, or not be answered with the address
/// that their line suggests. `list` decides about reverse names.
void CheckHostMap(const HostMapFileText& file, const MethodList& list, Report& report);

/// The carriage returns at the line ends of a file. There is one warning for all of them, at the
/// first: a file from another system has one in every line.
class CarriageReturns {
 public:
  explicit CarriageReturns(const FileText& text);

  /// Whether they are all the line ends that there are, which is an error: there is nothing more
  /// to say about such a file.
  bool EndEveryLine(Report& report) const;

  /// Warns when `line`, counted from 1, is the first that ends in one.
  void Check(std::size_t line, Report& report) const;

 private:
  bool are_only_line_ends_ = false;
  std::size_t first_line_ = 0;
  std::size_t count_ = 0;
};

}  // namespace ctl
