#include "ipcc/builder.h"

#include <algorithm>

#include "core/status.h"
#include "core/text.h"
#include "database/dbf_format.h"
#include "ipcc/country_table.h"
#include "ipcc/ranges.h"

namespace vantry {
namespace {

constexpr std::string_view kUsage = "Usage: vantry-ipcc RANGES-FILE... IPCC.DBF\n";
constexpr std::string_view kHelp =
    "\n"
    "Builds IPCC.DBF, the table by which Vantry tells a visitor's country from the address. It belongs into Vantry's\n"
    "data folder and is read when Vantry starts.\n"
    "\n"
    "RANGES-FILE is text, one range a line: first address, last address, country code, with commas between. Addresses\n"
    "are whole numbers or dotted (16777216 or 1.0.0.0). Of ranges that lie over each other the inner one counts, else\n"
    "the one that stands later. Debian's package tor-geoipdb has such a file:\n"
    "\n"
    "  vantry-ipcc /usr/share/tor/geoip Data/IPCC.DBF\n"
    "\n"
    "Lines that can't be read are named and left out. It ends with 0 when the table is written, 1 when it is not, 2 "
    "on\n"
    "wrong use.\n";

// "1 row", "2 rows".
std::string Counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

struct Arguments {
  bool help = false;
  std::vector<std::string> paths;
  std::string wrong_option;
};

Arguments ReadArguments(const std::vector<std::string>& words) {
  Arguments arguments;
  bool options = true;
  for (const std::string& word : words) {
    if (options && word == "--") {
      options = false;
    } else if (options && (word == "--help" || word == "-h")) {
      arguments.help = true;
    } else if (options && StartsWith(word, "-")) {
      if (arguments.wrong_option.empty()) arguments.wrong_option = word;
    } else {
      arguments.paths.push_back(word);
    }
  }
  return arguments;
}

void NameBadLines(const std::string& path, const RangeText& text, std::ostream& err) {
  for (const BadLine& line : text.bad_lines) err << path << ":" << line.number << ": " << line.what << "\n";
  if (text.bad_count > text.bad_lines.size()) {
    err << path << ": and " << text.bad_count - text.bad_lines.size() << " more\n";
  }
}

// Adds the file's ranges to those of the files before it.
Status AddFile(Files& files, const std::string& path, std::vector<CountryRange>& ranges, std::ostream& out,
               std::ostream& err) {
  std::string bytes;
  if (Status status = files.Read(path, bytes); !status.ok()) return status;
  const RangeText text = ParseRanges(bytes);
  NameBadLines(path, text, err);
  if (text.ranges.empty() && text.ipv6_count == 0) {
    return Status::Error(Fail::kBadData, path + ": holds no address range that can be read");
  }
  out << path << ": " << Counted(text.ranges.size(), "range");
  if (text.bad_count > 0) out << ", " << Counted(text.bad_count, "line") << " left out";
  out << "\n";
  if (text.ipv6_count > 0) {
    out << path << ": " << Counted(text.ipv6_count, "IPv6 range") << " left out, as the table holds IPv4 alone\n";
  }
  ranges.insert(ranges.end(), text.ranges.begin(), text.ranges.end());
  return Status::Ok();
}

// The last operand is overwritten. If the table's name were missing there, that would be the operator's own ranges.
Status CheckTarget(Files& files, const std::string& path) {
  std::string bytes;
  const Status status = files.Read(path, bytes);
  if (!status.ok()) return status.fail == Fail::kNotFound ? Status::Ok() : status;
  TableHeader header;
  const Status parsed =
      bytes.empty() ? Status::Ok() : ParseHeader(std::string_view(bytes).substr(0, dbf::kMaxHeaderBytes), header);
  if (parsed.ok()) return parsed;
  return Status::Error(Fail::kRefused, path + ": " + parsed.text + ", so it is not written over");
}

Status Build(Files& files, Day today, std::vector<std::string> paths, std::ostream& out, std::ostream& err) {
  const std::string target = std::move(paths.back());
  paths.pop_back();
  if (Status status = CheckTarget(files, target); !status.ok()) return status;
  std::vector<CountryRange> ranges;
  for (const std::string& path : paths) {
    if (Status status = AddFile(files, path, ranges, out, err); !status.ok()) return status;
  }
  if (ranges.empty()) return Status::Error(Fail::kBadData, "there is no IPv4 range to make a table of");
  const size_t range_count = ranges.size();
  const std::vector<CountryRow> rows = BuildCountryRows(std::move(ranges));
  if (Status status = files.Replace(target, BuildCountryTable(rows, today)); !status.ok()) return status;
  const auto gaps = std::count_if(rows.begin(), rows.end(), [](const CountryRow& r) { return r.code == kNoCountry; });
  out << target << ": " << Counted(range_count, "range") << " read, " << Counted(rows.size(), "row") << " written, "
      << Counted(static_cast<size_t>(gaps), "gap") << " among them\n"
      << "A Vantry that runs now reads the table at its next start.\n";
  return Status::Ok();
}

}  // namespace

int RunIpcc(Files& files, Day today, const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  const Arguments arguments = ReadArguments(words);
  if (arguments.help) {
    out << kUsage << kHelp;
    return 0;
  }
  if (!arguments.wrong_option.empty()) err << "vantry-ipcc: There is no option '" << arguments.wrong_option << "'.\n";
  if (!arguments.wrong_option.empty() || arguments.paths.size() < 2) {
    err << kUsage << "vantry-ipcc --help tells more.\n";
    return 2;
  }
  const Status status = Attempt([&] { return Build(files, today, arguments.paths, out, err); });
  if (status.ok()) return 0;
  err << "vantry-ipcc: " << status.text << "\n";
  return 1;
}

}  // namespace vantry
