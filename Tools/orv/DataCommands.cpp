#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Text/Base64.h"
#include "Tools/orv/Background.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/FileDigest.h"
#include "Tools/orv/Input.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

using orv::detail::Base64Form;
using orv::detail::DigestAlgorithm;

// ---- digest

struct DigestOptions {
  bool md5 = false;
  bool sha1 = false;
  bool sha256 = false;
  bool json = false;
  std::vector<std::string> files;

  DigestAlgorithm algorithm() const {
    return md5 ? DigestAlgorithm::MD5 : sha1 ? DigestAlgorithm::SHA1 : DigestAlgorithm::SHA256;
  }
};

uint64_t totalSize(const std::vector<std::string>& files) {
  uint64_t total = 0;
  for (const std::string& file : files) {
    struct stat status;
    if (::stat(file.c_str(), &status) == 0) total += static_cast<uint64_t>(status.st_size);
  }
  return total;
}

// A line of the form that the checking tools read: a name with a line feed, a carriage return or a backslash is
// escaped, and a backslash in front of the line says so.
std::string checkLine(const std::string& hex, const std::string& name) {
  std::string escaped;
  for (char c : name) {
    if (c == '\\')
      escaped += "\\\\";
    else if (c == '\n')
      escaped += "\\n";
    else if (c == '\r')
      escaped += "\\r";
    else
      escaped += c;
  }
  return (escaped == name ? "" : "\\") + hex + "  " + escaped;
}

// Standard input that is named twice is read twice, the second time from where the first has ended.
bool namesInputTwice(const std::vector<std::string>& files) {
  return std::count(files.begin(), files.end(), "-") > 1;
}

void runDigest(const DigestOptions& options, Output& output) {
  OrvLogInfo("digest of %lu files", options.files.size());
  Steps steps;
  steps.total = totalSize(options.files);
  std::vector<FileDigest> digests(options.files.size());
  Table table({{"file"}, {"hash"}});
  const auto read = [&](size_t i) {
    digests[i] =
        digestFile(options.files[i], options.algorithm(), [&](uint64_t bytes) { steps.done += bytes; });
  };
  const auto print = [&](size_t i) {
    const std::string& file = options.files[i];
    if (!report(digests[i], file, output)) return;
    options.json ? table.add({file, digests[i].hex}) : output.writeLine(checkLine(digests[i].hex, file));
  };
  runInBackground({"Reading", options.files.size(), namesInputTwice(options.files), read, print}, steps,
                  output);
  if (options.json) table.print(output, true);
}

void addDigest(CLI::App& program, Output& output) {
  auto options = std::make_shared<DigestOptions>();
  CLI::App* command =
      program.add_subcommand("digest", "Print the digests of files, in the form `sha256sum -c` reads");
  auto* md5 = command->add_flag("--md5", options->md5, "MD5");
  auto* sha1 = command->add_flag("--sha1", options->sha1, "SHA-1");
  auto* sha256 = command->add_flag("--sha256", options->sha256, "SHA-256 (the default)");
  md5->excludes(sha1)->excludes(sha256);
  sha1->excludes(sha256);
  command->add_flag("--json", options->json, "Print a JSON array");
  command->add_option("FILE", options->files, "The files; - is standard input")->required();
  command->callback([options, &output] { runDigest(*options, output); });
}

// ---- base64

struct Base64Options {
  bool decode = false;
  bool canonical = false;
  std::string file = "-";
};

Base64Form formOf(const Base64Options& options) {
  return options.canonical ? Base64Form::Canonical : Base64Form::Standard;
}

void encode(const std::string& bytes, const Base64Options& options, Output& output) {
  std::string text(orv::detail::base64EncodedLength(bytes.size(), formOf(options)), 0);
  orv::detail::base64Encode(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), text.data(),
                            formOf(options));
  output.writeLine(text);
}

// The padding that the canonical form lacks is put back, so that every text that `encode` writes can be read.
void decode(std::string text, const Base64Options& options, Output& output) {
  std::erase_if(text, [](char c) { return c == '\n' || c == '\r'; });
  if (options.canonical && text.size() % 4 > 1) text.append(4 - text.size() % 4, '=');
  const auto capacity = orv::detail::base64DecodedLength(text.data(), text.size(), formOf(options));
  std::string bytes(capacity.value_or(0), 0);
  const auto length = orv::detail::base64Decode(text.data(), text.size(),
                                                reinterpret_cast<uint8_t*>(bytes.data()), formOf(options));
  if (!length) return output.fail(options.file == "-" ? "standard input" : options.file, "not valid Base64");
  output.write(bytes);
}

void runBase64(const Base64Options& options, Output& output) {
  std::string contents;
  if (!readAll(options.file, contents, output)) return;
  options.decode ? decode(std::move(contents), options, output) : encode(contents, options, output);
}

void addBase64(CLI::App& program, Output& output) {
  auto options = std::make_shared<Base64Options>();
  CLI::App* command =
      program.add_subcommand("base64", "Encode or decode Base64, from a file or standard input");
  command->add_flag("-d,--decode", options->decode,
                    "Decode; line ends are skipped, anything else odd is refused");
  command->add_flag("--canonical", options->canonical, "The URL-safe alphabet, without padding");
  command->add_option("FILE", options->file, "The file; - is standard input")->capture_default_str();
  command->callback([options, &output] { runBase64(*options, output); });
}

}  // namespace

void addDataCommands(CLI::App& program, Output& output) {
  addDigest(program, output);
  addBase64(program, output);
}

}  // namespace tool
