#ifndef XTALMOTIF_APPS_MATCH_REPORT_H
#define XTALMOTIF_APPS_MATCH_REPORT_H

#include "apps/collection_search.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif::app {

/// The crystallographer's symmetry code "n_klm" of an atom or molecule copy: n is the number of
/// the symmetry operator in the structure's list (1 for x,y,z) and k, l, m are 5 plus the lattice
/// translation along a, b and c ("2_655" is operator 2 moved one cell along a). Translations
/// outside -5..4 are written out: "2_(-6,0,0)".
std::string symmetry_code(int op, const Translation& t);

/// The symmetry code of atom `atom` of crystal molecule `molecule`, placed by operator `op` and
/// translation `t` of the search environment, expressed against the asymmetric-unit site the atom
/// was built from (so that it means what it would mean in the CIF file).
std::string atom_symmetry_code(const CrystalMaker& crystal, int molecule, int atom, int op,
                               const Translation& t);

/// One JSON object per match, one per line, in entry order.
void write_json_lines(std::ostream& os, const std::string& motif_name,
                      const std::vector<EntryOutcome>& outcomes);
/// One row per realised contact, with a header row.
void write_tsv(std::ostream& os, const std::vector<EntryOutcome>& outcomes);
/// One P1 CIF per match in `dir` holding the matched molecules at their found positions, atom
/// labels suffixed with their symmetry codes. Returns the files written.
std::vector<std::string> export_matches(const std::string& dir,
                                        const std::vector<EntryOutcome>& outcomes);

} // namespace xtalmotif::app

#endif
