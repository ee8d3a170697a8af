#include "files/con_contact.h"

#include "files/lenient_number.h"

namespace xtalmotif {

using MotifSearchLibFunctions::lenient_double;
using MotifSearchLibFunctions::lenient_int;
using MotifSearchLibFunctions::word_or;

namespace {

const std::string no_word;

// Atom number of a word; a missing word names no atom (-1) so that the record is reported as
// naming a missing atom when the motif is built.
int atom_number(const std::vector<std::string>& words, std::size_t i) {
  return i < words.size() ? lenient_int(words[i]) : -1;
}

} // namespace

ConContact::ConContact(std::vector<std::string> vdw_line, std::vector<std::string> next_line) {
  vdw_tolerance_ = lenient_double(word_or(vdw_line, 2, no_word));
  const std::string& kind = word_or(next_line, 1, no_word);
  if (kind == "INTER") {
    type_ = 1;
    atom_a_ = atom_number(next_line, 2);
    atom_b_ = atom_number(next_line, 4);
    vdw_only_ = next_line.size() != 8;
    if (!vdw_only_) {
      low_ = lenient_double(next_line[6]);
      high_ = lenient_double(next_line[7]);
    }
    return;
  }
  // "INTRA", "ANY" and any unknown word share the second layout. An unknown word keeps type 1,
  // intermolecular: the query file describes intermolecular motifs, type 1 is what every motif
  // contact has by default, and it never widens the search to contacts inside one molecule
  // (which "ANY" would) nor narrows it to them (which "INTRA" would) on a mere misspelling.
  if (kind == "INTRA")
    type_ = 2;
  else if (kind == "ANY")
    type_ = 3;
  else
    type_ = 1;
  atom_a_ = atom_number(next_line, 4);
  atom_b_ = atom_number(next_line, 6);
  vdw_only_ = next_line.size() != 10;
  if (!vdw_only_) {
    low_ = lenient_double(next_line[8]);
    high_ = lenient_double(next_line[9]);
  }
}

THandle<CombinedCriterion> ConContact::contact_criterion() const {
  // The default criterion of a motif contact, then the record's type and limits. Van der Waals
  // mode stays on for an explicit range too: both kinds of limit are offsets to the radius sum.
  auto criterion =
      make_handle<CombinedCriterion>(true, 0.0, -5.0, ContactType(1), 4, 999, false,
                                     make_handle<ElementSet>(), make_handle<ElementSet>());
  criterion->set_contact_type(static_cast<ContactType>(type_));
  if (vdw_only_) {
    criterion->set_upper(vdw_tolerance_);
  } else {
    criterion->set_lower(low_);
    criterion->set_upper(high_);
  }
  return criterion;
}

} // namespace xtalmotif
