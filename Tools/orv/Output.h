#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/NSString.h"

namespace tool {

// What the program exits with.
enum class Status { Done = 0, Failed = 1, Usage = 2, Trouble = 2 };

// Standard output and the failures of a run. Names are written as the bytes they are; in JSON, bytes that are
// no UTF-8 become the escapes \udc80 to \udcff.
class Output {
 public:
  void write(std::string_view bytes);
  void writeLine(std::string_view bytes);

  // One line "orv: WHAT: WHY" on standard error; the run goes on and will exit with 1. Control characters of a
  // name are shown as escapes, so that it stays one line and the terminal obeys nothing that is in it.
  void fail(std::string_view what, std::string_view why);
  // The same line for what is no failure.
  void tell(std::string_view what, std::string_view why);
  // The failure for an error number of the system.
  void failWithErrno(std::string_view what, int error);
  // A difference: no message, but exit status 1.
  void differ() { status_ = Status::Failed; }
  // For a subcommand whose failures are not told by 1.
  void exitWith(Status status) { status_ = status; }

  // False when a write to standard output has failed.
  bool canWrite() const { return writeError_ == 0; }
  // Writes out what is pending.
  void flush();
  // The same, and answers the exit status; a failed write to standard output is a failure.
  int finish();

 private:
  Status status_ = Status::Done;
  int writeError_ = 0;  // the first failure of a write to standard output
};

// A table that is printed as aligned columns or as a JSON array of objects.
class Table {
 public:
  enum class Align { Left, Right };
  struct Column {
    const char* key;
    Align align = Align::Left;
    bool number = false;  // a number in JSON
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}
  // One cell per column, as bytes. An empty cell is printed as "-", and is null in JSON.
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void print(Output& output, bool json) const;

 private:
  void printText(Output& output) const;
  void printJSON(Output& output) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// A text between quotes, escaped as JSON asks.
std::string jsonString(std::string_view bytes);

// The bytes of a name or a text; nothing for nil.
inline std::string bytesOf(const NSString& text) { return text.fileSystemRepresentation(); }
inline NSString nameOf(std::string_view bytes) { return NSString::stringWithFileSystemRepresentation(bytes); }

}  // namespace tool
