#ifndef XTALMOTIF_APPS_MOTIF_CATALOG_H
#define XTALMOTIF_APPS_MOTIF_CATALOG_H

#include "crystal/crystal_maker.h"
#include "core/handle.h"
#include "motif/motif.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif::app {

/// A user-facing problem with the command line or a named input; the program prints it as one line
/// and exits with status 2.
class UsageError : public std::runtime_error {
public:
  explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

/// A ready-made motif the program knows by name.
struct CatalogEntry {
  std::string name;        ///< what the user types, e.g. "carboxylic acid dimer"
  std::string family;      ///< "pair", "water", "ring", "silver"
  /// One line for `xtalmotif motifs`, made when asked for: it builds the motif, and a search
  /// builds only the motif it searches for.
  std::function<std::string()> describe;
  std::function<THandle<Motif>()> build;
  /// Run on each structure before it is searched: the silver patterns cut the bonds to silver,
  /// so that silver ions and carboxylates are molecules of their own.
  std::function<void(const THandle<CrystalMaker>&)> prepare;
};

/// Every ready-made motif: hydrogen-bonded pairs of the predefined substructures, the water
/// clusters, the extended hydrogen-bonded rings and the silver carboxylate patterns.
const std::vector<CatalogEntry>& motif_catalog();

/// Every ready-made motif that searches structures as they are read (the silver patterns,
/// which cut bonds first, left out), in catalogue order: those a screen index keeps screens for.
std::vector<THandle<Motif>> screened_catalog_motifs();

/// A motif chosen on the command line: a catalog name or a connectivity query file.
struct MotifChoice {
  std::string name;
  std::function<THandle<Motif>()> build; ///< a fresh motif on every call (one per thread)
  std::function<void(const THandle<CrystalMaker>&)> prepare; ///< see CatalogEntry::prepare
};

/// Resolves a catalog name (case-insensitive) or the path of a query file. Throws UsageError for
/// an unknown name, suggesting the nearest names, for a query file that cannot be read, and for
/// a CIF file or folder given where the motif belongs.
MotifChoice choose_motif(const std::string& text);

/// The catalog names nearest to `text` by edit distance, closest first.
std::vector<std::string> nearest_names(const std::string& text, std::size_t how_many);

/// The number of one-character insertions, deletions and substitutions that turn `a` into `b`:
/// how near a mistyped name or option is to a known one.
std::size_t edit_distance(const std::string& a, const std::string& b);

} // namespace xtalmotif::app

#endif
