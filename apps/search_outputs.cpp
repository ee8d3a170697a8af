#include "apps/search_outputs.h"

#include "apps/match_report.h"
#include "core/atomic_file.h"
#include "search/match_records.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace xtalmotif::app {

namespace {
// Matches of each entry whose contacts the terminal listing shows; --json and --tsv give all.
constexpr std::size_t kListedMatches = 3;

namespace fs = std::filesystem;

// Where the text for the output `path` waits: beside the file it replaces, so that it is renamed
// into place; in the temporary folder when it goes to standard output or is written into a
// device.
std::string spool_path(const std::string& path) {
  const std::string target = path == "-" ? std::string() : output_target(path);
  if (!target.empty() && !is_written_into(target))
    return temporary_path_beside(target);
  std::error_code ec;
  return temporary_path_beside((fs::temp_directory_path(ec) / "xtalmotif-output").string());
}
} // namespace

void check_standard_output() {
  errno = 0;
  std::cout.flush();
  if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout))
    throw OutputError(std::string("standard output: cannot be written") +
                      (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()));
}

void write_output(const std::string& path, const std::function<void(std::ostream&)>& writer) {
  if (path == "-") {
    writer(std::cout);
    check_standard_output();
    return;
  }
  std::string error;
  if (!write_file_atomically(path, writer, &error))
    throw OutputError(error);
}

Spool::Spool(const std::string& path)
    : path_(path), temp_(spool_path(path)), out_(temp_, std::ios::binary | std::ios::trunc) {
  if (!out_)
    throw OutputError(path_ + ": cannot be written: no room for its text at " + temp_ + ": " +
                      std::strerror(errno));
}

Spool::~Spool() {
  if (!temp_.empty())
    std::remove(temp_.c_str());
}

void Spool::copy_to(std::ostream& os) {
  out_.flush();
  std::ifstream in(temp_, std::ios::binary);
  if (in.peek() != std::ifstream::traits_type::eof())
    os << in.rdbuf();
}

void Spool::install() {
  out_.close();
  if (!out_)
    throw OutputError(path_ + ": cannot be written: " + std::strerror(errno));
  if (path_ == "-") {
    copy_to(std::cout);
    check_standard_output();
    return;
  }
  std::string error;
  const std::string temp = std::move(temp_);
  temp_.clear(); // installed or removed by install_output
  if (!install_output(temp, path_, &error))
    throw OutputError(error);
}

SearchOutputs::SearchOutputs(const SearchCommand& cmd, std::string motif_name, bool listing,
                             std::function<bool(const std::string&)> is_input)
    : cmd_(cmd), motif_name_(std::move(motif_name)), is_input_(std::move(is_input)) {
  if (listing)
    listing_ = std::make_unique<Spool>("-");
  // The records of --json; the report is made from the same records.
  if (!cmd.json.empty() || !cmd.report.empty())
    records_ = std::make_unique<Spool>(cmd.json.empty() ? "-" : cmd.json);
  if (!cmd.tsv.empty()) {
    tsv_ = std::make_unique<Spool>(cmd.tsv);
    write_tsv(tsv_->out(), {});
  }
}

SearchOutputs::~SearchOutputs() = default;

void SearchOutputs::render(int index, const EntryOutcome& outcome) {
  if (outcome.matches.empty())
    return;
  // The writers take a list of entries: a copy of this one's outcome, which shares its
  // structure and matches.
  const std::vector<EntryOutcome> one{outcome};
  Text text;
  if (listing_) {
    std::ostringstream os;
    app::write_listing(os, one, cmd_.quiet ? 0 : kListedMatches);
    text.listing = os.str();
  }
  if (records_) {
    std::ostringstream os;
    write_json_lines(os, motif_name_, one);
    text.records = os.str();
  }
  if (tsv_) {
    std::ostringstream os;
    write_tsv(os, one, false);
    text.rows = os.str();
  }
  std::lock_guard<std::mutex> lock(mutex_);
  rendered_[index] = std::move(text);
}

void SearchOutputs::add(int index, EntryOutcome&& outcome) {
  if (outcome.status == EntryStatus::Refused)
    refused_.push_back(outcome.reason);
  if (outcome.aborted)
    aborted_.push_back("aborted: " + printable(outcome.id.str()) + " (" +
                       printable(outcome.file.empty() ? "-" : outcome.file) +
                       "): the search of this entry met its work budget (--work-budget) and "
                       "stopped; " +
                       std::to_string(outcome.matches.size()) +
                       (outcome.matches.size() == 1 ? " match" : " matches") +
                       " found before it, more may exist");
  if (outcome.matches.empty())
    return;
  for (const auto& n : outcome.crystal->notices())
    notes_.push_back("note: " + printable(outcome.file.empty() ? "-" : outcome.file) +
                     ": block " + printable(outcome.block) + ": " + n);
  hits_.add_entry(outcome.id);
  Text text;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = rendered_.find(index);
    if (it == rendered_.end())
      throw std::logic_error("search outputs: entry " + std::to_string(index) +
                             " was passed on before its text was made");
    text = std::move(it->second);
    rendered_.erase(it);
  }
  if (listing_)
    listing_->out() << text.listing;
  if (records_)
    records_->out() << text.records;
  if (tsv_)
    tsv_->out() << text.rows;
  if (!cmd_.export_dir.empty()) {
    std::vector<EntryOutcome> one;
    one.push_back(std::move(outcome));
    export_matches(cmd_.export_dir, one, is_input_, &exported_);
  }
}

void SearchOutputs::write_listing() {
  if (listing_)
    listing_->copy_to(std::cout);
}

void SearchOutputs::finish(const CollectionTally& counts) {
  // An output named /dev/stdout comes after the listing already written there.
  std::cout.flush();
  std::string error;
  if (!cmd_.save.empty() && !hits_.save(cmd_.save, &error))
    throw OutputError(error);
  if (!cmd_.save_ids.empty() && !hits_.save_as_gcd(cmd_.save_ids, &error))
    throw OutputError(error);
  if (records_) {
    records_->out() << record_line(summary_record(motif_name_, counts)) << '\n';
    // The report is made from the same records as `xtalmotif report` reads from a --json file.
    std::stringstream records;
    if (!cmd_.report.empty())
      records_->copy_to(records);
    if (!cmd_.json.empty())
      records_->install();
    if (!cmd_.report.empty())
      write_output(cmd_.report,
                   [&](std::ostream& os) { write_html_report(records, os, cmd_.report_limit); });
  }
  if (tsv_)
    tsv_->install();
}

} // namespace xtalmotif::app
