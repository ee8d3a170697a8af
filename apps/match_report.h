#ifndef XTALMOTIF_APPS_MATCH_REPORT_H
#define XTALMOTIF_APPS_MATCH_REPORT_H

#include "search/collection_search.h"
#include "search/match_records.h"

#include <array>
#include <functional>
#include <iosfwd>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif::app {

/// One atom of a structure written out in P1: its label (carrying its symmetry code), element
/// and fractional coordinates.
struct P1Atom {
  std::string label;
  std::string element;
  std::array<double, 3> fract{};
};

/// A loop of the caller's own, written after the atoms: its tags' common prefix, the rest of
/// each tag, and rows of values as they read (an empty value is written as ".").
struct CifLoop {
  std::string prefix;
  std::vector<std::string> tags;
  std::vector<std::vector<std::string>> rows;
};

/// A data block holding `atoms` in P1 with `cell` (a, b, c in angstrom, alpha, beta, gamma in
/// degrees): every atom written where it is, so that any structure viewer shows the molecules as
/// they were placed; the loops in `more` follow. Written by gemmi, which quotes every value.
void write_p1_cif(std::ostream& os, const std::string& block, const std::array<double, 6>& cell,
                  const std::vector<P1Atom>& atoms, const std::vector<CifLoop>& more = {});

/// The terminal listing: a line per entry with matches ("ENTRY (FILE): N matches"), then for
/// each of its first `detailed` matches its graph set and its contacts, hydrogen bonds with
/// their D-H, H...A, D...A and angle, constraints left out.
void write_listing(std::ostream& os, const std::vector<EntryOutcome>& outcomes,
                   std::size_t detailed);

/// JSON Lines: for every entry with matches, one entry record (its file and block, the
/// operator list its symmetry codes number and anything a reader must know to check them),
/// then one record per match, in entry order. A search makes each entry's records on the worker
/// that searched it (see SearchOutputs).
void write_json_lines(std::ostream& os, const std::string& motif_name,
                      const std::vector<EntryOutcome>& outcomes);
/// One row per realised contact, after a header row unless `header` is false.
void write_tsv(std::ostream& os, const std::vector<EntryOutcome>& outcomes, bool header = true);
/// One P1 CIF per match in `dir` holding the matched molecules at their found positions, atom
/// labels suffixed with their symmetry codes, the matched atoms and contacts in loops of their
/// own and the source's operator list in a comment. Each file is named after its entry and
/// match (`ENTRY_matchN.cif`, the entry's name made safe for a file name and cut to 100
/// characters), with `-2`, `-3`... where that name is taken already or `is_input` says it is
/// one of the search's inputs. `taken` holds the names an export has used already, for an
/// export written entry by entry. Returns the files written.
std::vector<std::string> export_matches(const std::string& dir,
                                        const std::vector<EntryOutcome>& outcomes,
                                        const std::function<bool(const std::string&)>& is_input,
                                        std::set<std::string>* taken = nullptr);

} // namespace xtalmotif::app

#endif
