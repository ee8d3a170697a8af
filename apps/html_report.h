#ifndef XTALMOTIF_APPS_HTML_REPORT_H
#define XTALMOTIF_APPS_HTML_REPORT_H

#include <iosfwd>
#include <string>

namespace CLI {
class App;
class Validator;
} // namespace CLI

namespace xtalmotif::app {

/// Matches whose molecules a report carries for its 3D view when no other number is given:
/// plenty to look through, few enough that the report of a whole collection stays small and
/// opens quickly. Every match still has its row in the table and its points in the plots.
constexpr unsigned int default_report_structures = 200;

/// A self-contained HTML page (scripts and styles inlined: it opens offline in any browser) made
/// from the JSON Lines records of a search (`search --json`): a summary of the search, a sortable
/// table with one row per match, a histogram of the H...A distances (contact distances where no
/// contact is a hydrogen bond) and a scatter of H...A against the D-H...A angle, and an
/// interactive 3D view of the selected match's molecules where they were found, each contact
/// dashed and labelled with its distance. The molecules of the first `structures` matches are
/// embedded, as P1 CIF text. Throws UsageError for input that is not such records.
void write_html_report(std::istream& json_lines, std::ostream& html, unsigned int structures);

/// `xtalmotif report JSON -o HTML`: the report of a search saved as JSON Lines.
struct ReportCommand {
  std::string json; ///< "-" for standard input
  std::string output;
  unsigned int structures = default_report_structures;
};

/// Adds the `report` command and its options to `app`; `count` checks a count typed on the
/// command line, as for the other commands.
CLI::App* add_report_command(CLI::App& app, ReportCommand& cmd, const CLI::Validator& count);

/// Writes the report file completely or not at all. Returns the program's exit status; throws
/// UsageError for a missing or unreadable input.
int run_report(const ReportCommand& cmd);

} // namespace xtalmotif::app

#endif
