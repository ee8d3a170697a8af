#include "db/aser_bit_screens.h"
#include "motif/motif.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace xtalmotif {

namespace {

// The screen bits a pattern may require for a query atom allowed to be any of several elements
// are those that every one of them would set: an "O or N" donor found as an N-H in the entry
// sets the nitrogen bits, never the oxygen ones, so neither may be demanded. `set` fills the
// scratch pattern for one choice of elements; an empty choice list (an atom of any element)
// requires nothing.
template <class SetBits>
std::set<int> common_bits(AserBitScreens& scratch, std::size_t choices, SetBits set) {
  std::set<int> common;
  for (std::size_t k = 0; k < choices; ++k) {
    scratch.screens.clear();
    set(k);
    std::set<int> bits;
    for (const auto& [bit, value] : scratch.screens)
      if (value)
        bits.insert(bit);
    if (k == 0) {
      common = std::move(bits);
    } else {
      std::set<int> both;
      std::set_intersection(common.begin(), common.end(), bits.begin(), bits.end(),
                            std::inserter(both, both.end()));
      common = std::move(both);
    }
    if (common.empty())
      break;
  }
  return common;
}

// Whether every element the atom allows satisfies `test` (false for an atom of any element).
template <class Test> bool all_allowed(const std::vector<Element>& elements, Test test) {
  return !elements.empty() &&
         std::all_of(elements.begin(), elements.end(),
                     [&](const Element& e) { return test(e.symbol()); });
}

} // namespace

THandle<AserBitScreens> Motif::aser_bit_screens() const {
  auto pattern = make_handle<AserBitScreens>();
  AserBitScreens scratch;
  auto require = [&pattern](const std::set<int>& bits) {
    for (int bit : bits)
      pattern->screens[bit] = true;
  };
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
      const std::vector<Element>& allowed = s->node(i)->elements();
      require(common_bits(scratch, allowed.size(),
                          [&](std::size_t k) { scratch.set_element_present(allowed[k]); }));
      // An atom counts towards a kind only when it must be of that kind.
      if (all_allowed(allowed, [](const std::string& e) { return e == "N"; }))
        ++nitrogen;
      if (all_allowed(allowed, [](const std::string& e) { return e == "O"; }))
        ++oxygen;
      if (all_allowed(allowed, [&](const std::string& e) {
            return scratch.is_member_of_group(e, AserBitScreens::HALOGENS);
          }))
        ++halogen;
      if (all_allowed(allowed, [&](const std::string& e) {
            return scratch.is_member_of_group(e, AserBitScreens::METALS);
          }))
        ++metal;
    }
    // The counts describe the richest single substructure, since one substructure lies in one
    // molecule of the entry, whose own counts the stored screens hold.
    max_nitrogen = std::max(max_nitrogen, nitrogen);
    max_oxygen = std::max(max_oxygen, oxygen);
    max_halogen = std::max(max_halogen, halogen);
    max_metal = std::max(max_metal, metal);
    for (const SubstructureEdge& edge : s->edges()) {
      const std::vector<Element>& a = s->node(edge.atom1)->elements();
      const std::vector<Element>& b = s->node(edge.atom2)->elements();
      require(common_bits(scratch, a.size() * b.size(), [&](std::size_t k) {
        scratch.set_simple_connection(a[k / b.size()].symbol(), b[k % b.size()].symbol());
      }));
    }
  }
  pattern->set_N_count(max_nitrogen);
  pattern->set_O_count(max_oxygen);
  pattern->set_X3_count(max_halogen);
  // The metal count is gathered with the others but deliberately never required by a pattern.
  (void)max_metal;
  return pattern;
}

} // namespace xtalmotif
