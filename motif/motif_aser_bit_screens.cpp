#include "kernel/aser_bit_screens.h"
#include "motif/motif.h"

#include <algorithm>
#include <string>

namespace xtalmotif {

namespace {
// The element a query atom stands for in a screen pattern: its first allowed element, or the
// unknown element for an atom that accepts any element (which no screen knows, so it requires
// nothing).
std::string screen_symbol(const Substructure& substructure, int atom) {
  const auto& elements = substructure.node(atom)->elements();
  return elements.empty() ? Element().symbol() : elements.front().symbol();
}
} // namespace

THandle<AserBitScreens> Motif::aser_bit_screens() const {
  auto pattern = make_handle<AserBitScreens>();
  int max_nitrogen = 0;
  int max_oxygen = 0;
  int max_halogen = 0;
  int max_metal = 0;
  for (const THandle<MotifSubstructure>& s : *substructures_) {
    int nitrogen = 0;
    int oxygen = 0;
    int halogen = 0;
    int metal = 0;
    for (int i = 0; i < s->nnodes(); ++i) {
      const std::string symbol = screen_symbol(*s, i);
      pattern->set_element_present(symbol);
      if (symbol == "N")
        ++nitrogen;
      if (symbol == "O")
        ++oxygen;
      if (pattern->is_member_of_group(symbol, AserBitScreens::HALOGENS))
        ++halogen;
      if (pattern->is_member_of_group(symbol, AserBitScreens::METALS))
        ++metal;
    }
    // The counts describe the richest single substructure, since one substructure lies in one
    // molecule of the entry, whose own counts the stored screens hold.
    max_nitrogen = std::max(max_nitrogen, nitrogen);
    max_oxygen = std::max(max_oxygen, oxygen);
    max_halogen = std::max(max_halogen, halogen);
    max_metal = std::max(max_metal, metal);
    for (const SubstructureEdge& edge : s->edges())
      pattern->set_simple_connection(screen_symbol(*s, edge.atom1), screen_symbol(*s, edge.atom2));
  }
  pattern->set_N_count(max_nitrogen);
  pattern->set_O_count(max_oxygen);
  pattern->set_X3_count(max_halogen);
  // The metal count is gathered with the others but deliberately never required by a pattern.
  (void)max_metal;
  return pattern;
}

} // namespace xtalmotif
