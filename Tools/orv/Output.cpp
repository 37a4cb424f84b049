#include "Tools/orv/Output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tool {
namespace {

void appendEscape(std::string& out, char16_t unit) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(unit));
  out += buffer;
}

void appendJSONUnit(std::string& out, char16_t unit) {
  switch (unit) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
  }
  if (unit < 0x20 || unit > 0x7E) return appendEscape(out, unit);
  out += static_cast<char>(unit);
}

std::string printable(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    char escape[8];
    if (byte >= 0x20 && byte != 0x7F) {
      out += c;
    } else {
      std::snprintf(escape, sizeof escape, c == '\n' ? "\\n" : "\\x%02x", byte);
      out += escape;
    }
  }
  return out;
}

std::string_view shown(const std::string& cell) { return cell.empty() ? "-" : std::string_view(cell); }

void appendPadded(std::string& line, std::string_view cell, size_t width, Table::Align align, bool last) {
  const std::string blanks(width - cell.size(), ' ');
  if (align == Table::Align::Right) line += blanks;
  line += cell;
  if (align == Table::Align::Left && !last) line += blanks;
  if (!last) line += "  ";
}

}  // namespace

void Output::write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() && writeError_ == 0)
    writeError_ = errno;
}

void Output::writeLine(std::string_view bytes) {
  write(bytes);
  write("\n");
}

void Output::fail(std::string_view what, std::string_view why) {
  tell(what, why);
  status_ = Status::Failed;
}

void Output::tell(std::string_view what, std::string_view why) {
  flush();  // keeps the lines in their order when both go to one place
  std::fprintf(stderr, "orv: %s: %s\n", printable(what).c_str(), printable(why).c_str());
}

void Output::failWithErrno(std::string_view what, int error) { fail(what, std::strerror(error)); }

void Output::flush() {
  if (std::fflush(stdout) != 0 && writeError_ == 0) writeError_ = errno;
}

int Output::finish() {
  flush();
  if (writeError_ != 0) failWithErrno("standard output", writeError_);
  return static_cast<int>(status_);
}

void Table::print(Output& output, bool json) const { json ? printJSON(output) : printText(output); }

void Table::printText(Output& output) const {
  std::vector<size_t> widths(columns_.size(), 0);
  for (const auto& row : rows_)
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], shown(row[i]).size());
  for (const auto& row : rows_) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i)
      appendPadded(line, shown(row[i]), widths[i], columns_[i].align, i + 1 == row.size());
    output.writeLine(line);
  }
}

void Table::printJSON(Output& output) const {
  output.write("[");
  for (size_t r = 0; r < rows_.size(); ++r) {
    output.write(r == 0 ? "\n  {" : ",\n  {");
    for (size_t i = 0; i < columns_.size(); ++i) {
      const std::string& cell = rows_[r][i];
      if (i > 0) output.write(", ");
      output.write(jsonString(columns_[i].key) + ": ");
      output.write(columns_[i].number ? cell : cell.empty() ? "null" : jsonString(cell));
    }
    output.write("}");
  }
  output.writeLine(rows_.empty() ? "]" : "\n]");
}

std::string jsonString(std::string_view bytes) {
  std::string out = "\"";
  for (char16_t unit : nameOf(bytes).utf16()) appendJSONUnit(out, unit);
  return out + '"';
}

}  // namespace tool
