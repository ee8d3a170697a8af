#ifndef XTALMOTIF_APPS_HBONDS_COMMAND_H
#define XTALMOTIF_APPS_HBONDS_COMMAND_H

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif::app {

/// `xtalmotif hbonds`: every hydrogen bond of every structure of `sources`, listed as a paper's
/// `_geom_hbond_*` table lists them (D-H, H...A, D...A, D-H...A, the acceptor's symmetry code)
/// with the first-level graph set of each, on `out`; `tsv`, when not empty, receives the same
/// as tab-separated rows ("-" for standard output in place of the listing). Entries that cannot
/// be read are reported on `err`. Returns the program's exit status.
int run_hbonds(const std::vector<std::string>& sources, const std::string& tsv, std::ostream& out,
               std::ostream& err);

} // namespace xtalmotif::app

#endif
