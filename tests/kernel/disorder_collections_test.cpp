// Disorder read from published files as their authors drew it: each alternative set of
// hydrogens of a rotationally disordered group counted once.

#include "crystal/cif_reader.h"

#include "test_data.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace xtalmotif {
namespace {

// The molecules of a crystal as "formula x count" words, carbon and hydrogen first.
std::string molecule_formulas(const CrystalMaker& crystal) {
  std::map<std::string, int> molecules;
  for (int m = 0; m < crystal.nmolecules(); ++m) {
    std::map<std::string, int> count;
    const auto mol = crystal.molecule(m);
    for (int a = 0; a < mol->natoms(); ++a)
      ++count[mol->atom(a)->element().symbol()];
    std::string formula;
    for (const char* first : {"C", "H"})
      if (count.count(first)) {
        formula += first + (count[first] > 1 ? std::to_string(count[first]) : "");
        count.erase(first);
      }
    for (const auto& [symbol, n] : count)
      formula += symbol + (n > 1 ? std::to_string(n) : "");
    ++molecules[formula];
  }
  std::string out;
  for (const auto& [formula, n] : molecules)
    out += (out.empty() ? "" : " ") + formula + "x" + std::to_string(n);
  return out;
}

// Staggered half-occupied hydrogen sets (methyl, water, ammonium), about 1 A apart: one set is
// kept, never both, and no hydrogen is left over as a molecule of its own.
TEST(DisorderCollections, AlternativeHydrogenSetsAreCountedOnce) {
  const auto bulk = testing::require_data("bulk") / "cod-tools/tests/inputs";
  const struct {
    const char* file;
    const char* formulas;
  } cases[] = {
      {"2208504.cif", "C54H56Cu10N26S8x1"},
      {"9009261-all-caps-atoms-label.cif", "H2BBe2O5x1"},
      {"1008954.cif", "B4Ce8D26Fe56x1"},
  };
  for (const auto& c : cases) {
    const auto crystal = read_crystal((bulk / c.file).string(), "");
    EXPECT_EQ(molecule_formulas(*crystal), c.formulas) << c.file;
  }
}

} // namespace
} // namespace xtalmotif
