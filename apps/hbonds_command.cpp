#include "apps/hbonds_command.h"

#include "apps/motif_catalog.h"
#include "core/atomic_file.h"
#include "db/database.h"
#include "results/hydrogen_bonds.h"

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <sstream>

namespace xtalmotif::app {

namespace {

std::string fixed(double v, int places) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.*f", places, v);
  return buf;
}

std::string padded(const std::string& s, std::size_t width) {
  return s.size() >= width ? s + ' ' : s + std::string(width - s.size(), ' ');
}

// A label with its code where the code is not 1_555.
std::string placed(const DescribedAtom& a) {
  return a.code == "1_555" ? a.label : a.label + "(" + a.code + ")";
}

} // namespace

int run_hbonds(const std::vector<std::string>& sources, const std::string& tsv, std::ostream& out,
               std::ostream& err) {
  for (const auto& p : sources)
    if (!std::filesystem::exists(p))
      throw UsageError(p + ": no such file or folder");
  CifDatabase db(sources);
  for (const auto& problem : db.problems())
    err << "refused: " << problem << '\n';
  std::ostringstream rows;
  rows << "entry\tfile\tdonor\tdonor_symmetry\thydrogen\thydrogen_symmetry\tacceptor\t"
          "acceptor_symmetry\td_h\th_a\td_a\tangle_dha\tintramolecular\tgraph_set\n";
  const bool listing = tsv != "-";
  int bonds = 0, read = 0;
  for (int i = 0; i < db.nentries(); ++i) {
    THandle<CrystalStructureDatabaseEntry> entry = db.entry(i);
    THandle<CrystalMaker> crystal;
    try {
      crystal = entry->crystal();
    } catch (const std::exception& e) {
      err << "refused: " << e.what() << '\n';
      continue;
    }
    ++read;
    crystal->select_3d();
    const MotifSearchResource resource(crystal);
    const auto found = MotifSearchLibFunctions::find_hydrogen_bonds(resource);
    bonds += static_cast<int>(found.size());
    if (listing) {
      out << "data_" << entry->block_name() << "  (" << entry->source_file() << "): "
          << found.size() << (found.size() == 1 ? " hydrogen bond\n" : " hydrogen bonds\n");
      if (!found.empty())
        out << "  " << padded("D-H...A", 30) << "  D-H    H...A  D...A   D-H...A  graph set\n";
    }
    for (const auto& b : found) {
      const auto& g = b.geometry;
      if (listing)
        out << "  "
            << padded(placed(b.donor) + "-" + placed(b.hydrogen) + "..." + placed(b.acceptor) +
                          (b.intramolecular ? " (intra)" : ""),
                      30)
            << "  " << fixed(g.d_h, 2) << "   " << fixed(g.h_a, 2) << "   " << fixed(g.d_a, 3)
            << "   " << padded(fixed(g.angle, 1), 7) << "  " << b.graph_set << '\n';
      rows << entry->identifier().str() << '\t' << entry->source_file() << '\t' << b.donor.label
           << '\t' << b.donor.code << '\t' << b.hydrogen.label << '\t' << b.hydrogen.code << '\t'
           << b.acceptor.label << '\t' << b.acceptor.code << '\t' << fixed(g.d_h, 4) << '\t'
           << fixed(g.h_a, 4) << '\t' << fixed(g.d_a, 4) << '\t' << fixed(g.angle, 1) << '\t'
           << (b.intramolecular ? "yes" : "no") << '\t' << b.graph_set << '\n';
    }
  }
  if (tsv == "-") {
    out << rows.str();
  } else if (!tsv.empty()) {
    std::string error;
    if (!write_file_atomically(tsv, [&](std::ostream& os) { os << rows.str(); }, &error))
      throw std::runtime_error(error);
  }
  if (read == 0)
    return 3;
  return bonds > 0 ? 0 : 1;
}

} // namespace xtalmotif::app
