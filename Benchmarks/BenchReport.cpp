// Reads Google Benchmark's JSON reports and prints, for each benchmark "area/name/ours", one line for each peer
// "area/name/<peer>":  area/name ours=NS peer=NS ratio=PEER/OURS.  Arguments stay with the name:
// "area/name/64".
//
// Counters called "lost" (items that never came) and "megabytes" are printed, too: ours-lost=0 peer-lost=12. A
// peer that lost what we did not has no ratio.

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

// One benchmark's own fields, as text; nested values are skipped.
using Record = std::map<std::string, std::string, std::less<>>;

// A reader for the little JSON that the reports use.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  // The objects in the top-level array "benchmarks".
  std::vector<Record> benchmarks() {
    std::vector<Record> records;
    const size_t key = text_.find("\"benchmarks\"");
    if (key == std::string_view::npos) return records;
    at_ = text_.find('[', key);
    if (at_ == std::string_view::npos) return records;
    ++at_;
    while (next() == '{') {
      records.push_back(record());
      if (next() == ',') ++at_;
    }
    return records;
  }

 private:
  char next() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
    return at_ < text_.size() ? text_[at_] : '\0';
  }

  Record record() {
    Record fields;
    ++at_;
    while (next() == '"') {
      const std::string key = string();
      if (next() == ':') ++at_;
      fields[key] = value();
      if (next() == ',') ++at_;
    }
    if (next() == '}') ++at_;
    return fields;
  }

  std::string string() {
    std::string out;
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\') ++at_;
      if (at_ < text_.size()) out += text_[at_];
    }
    ++at_;
    return out;
  }

  std::string value() {
    const char c = next();
    if (c == '"') return string();
    if (c == '{' || c == '[') return skipped();
    const size_t begin = at_;
    while (at_ < text_.size() && text_[at_] != ',' && text_[at_] != '}' && text_[at_] != ']' &&
           text_[at_] != '\n')
      ++at_;
    return std::string(text_.substr(begin, at_ - begin));
  }

  std::string skipped() {
    int depth = 0;
    do {
      const char c = next();
      if (c == '"') {
        string();
        continue;
      }
      if (c == '{' || c == '[') ++depth;
      if (c == '}' || c == ']') --depth;
      ++at_;
    } while (depth > 0 && at_ < text_.size());
    return {};
  }

  std::string_view text_;
  size_t at_ = 0;
};

double nanosecondsPer(std::string_view unit) {
  if (unit == "us") return 1e3;
  if (unit == "ms") return 1e6;
  return unit == "s" ? 1e9 : 1;
}

// The name without its third piece, and that piece: who was measured.
struct Subject {
  std::string name;
  std::string who;
};

Subject subjectOf(std::string_view runName) {
  const size_t first = runName.find('/');
  const size_t second = first == std::string_view::npos ? first : runName.find('/', first + 1);
  if (second == std::string_view::npos) return {std::string(runName), "ours"};
  const size_t third = runName.find('/', second + 1);
  const size_t end = third == std::string_view::npos ? runName.size() : third;
  std::string_view rest = runName.substr(end);
  for (const std::string_view how : {"/real_time", "/manual_time", "/iterations:1"})
    if (rest.ends_with(how)) rest.remove_suffix(how.size());
  return {std::string(runName.substr(0, second)) + std::string(rest),
          std::string(runName.substr(second + 1, end - second - 1))};
}

// The counters that are printed, in the order of the names; absent ones are left out.
using Counters = std::map<std::string, double>;

struct Times {
  double ours = 0;
  std::vector<std::pair<std::string, double>> peers;
  std::map<std::string, Counters> counters;  // of each
};

double lostBy(const Times& times, const std::string& who) {
  const auto counters = times.counters.find(who);
  if (counters == times.counters.end()) return 0;
  const auto lost = counters->second.find("lost");
  return lost == counters->second.end() ? 0 : lost->second;
}

void printCounters(const Times& times, const std::string& who) {
  const auto counters = times.counters.find(who);
  if (counters == times.counters.end()) return;
  for (const auto& [name, value] : counters->second)
    std::printf(" %s-%s=%.10g", who.c_str(), name.c_str(), value);
}

void printPair(const std::string& name, const Times& times, const std::string& peer, double ns) {
  std::printf("%s ours=%.1f %s=%.1f", name.c_str(), times.ours, peer.c_str(), ns);
  if (lostBy(times, peer) <= lostBy(times, "ours"))
    std::printf(" ratio=%.2f", times.ours > 0 ? ns / times.ours : 0);
  printCounters(times, "ours");
  printCounters(times, peer);
  std::printf("\n");
}

struct Report {
  std::map<std::string, Times> times;
  std::vector<std::string> order;  // of first appearance

  void add(const Record& record) {
    const auto field = [&](const char* key) {
      const auto found = record.find(key);
      return found == record.end() ? std::string() : found->second;
    };
    if (field("aggregate_name") != "median") return;
    const Subject subject = subjectOf(field("run_name"));
    if (!times.contains(subject.name)) order.push_back(subject.name);
    Times& entry = times[subject.name];
    const double ns = std::strtod(field("real_time").c_str(), nullptr) * nanosecondsPer(field("time_unit"));
    if (subject.who == "ours")
      entry.ours = ns;
    else
      entry.peers.emplace_back(subject.who, ns);
    for (const char* name : {"lost", "megabytes"})
      if (record.contains(name)) entry.counters[subject.who][name] = std::strtod(field(name).c_str(), nullptr);
  }

  void print() const {
    for (const std::string& name : order) {
      const Times& entry = times.at(name);
      if (entry.peers.empty()) std::printf("%s ours=%.1f\n", name.c_str(), entry.ours);
      for (const auto& [peer, ns] : entry.peers) printPair(name, entry, peer, ns);
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  Report report;
  for (int i = 1; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    for (const Record& record : Reader(text).benchmarks()) report.add(record);
  }
  report.print();
  return report.order.empty() ? 1 : 0;
}
