#include "files/con_bond.h"

#include "files/lenient_number.h"
#include "chem/molecule.h"

#include <ostream>

namespace xtalmotif {

using MotifSearchLibFunctions::lenient_int;

ConBond::ConBond(std::vector<std::string> words) {
  if (words.size() > 1)
    atom_a_ = lenient_int(words[1]);
  if (words.size() > 2)
    atom_b_ = lenient_int(words[2]);
  if (words.size() > 3)
    type_code_ = lenient_int(words[3]);
}

bool ConBond::is_adjacent_to(const ConBond& other) const {
  return atom_a_ == other.atom_a_ || atom_a_ == other.atom_b_ || atom_b_ == other.atom_a_ ||
         atom_b_ == other.atom_b_;
}

bool ConBond::connects_con_atoms(int a, int b) const {
  return (atom_a_ == a && atom_b_ == b) || (atom_a_ == b && atom_b_ == a);
}

int ConBond::bond_type() const {
  return (type_code_ >= 1 && type_code_ <= 4) ? type_code_ : 0;
}

THandle<SubstructureBond> ConBond::substructure_bond() const {
  int type = bond_type();
  // The file's codes 1 to 4 are the kernel's bond types of the same number.
  if (type == 0)
    return make_handle<SubstructureBond>();
  return make_handle<SubstructureBond>(static_cast<BondType>(type));
}

void ConBond::print(std::ostream& os) const {
  os << "Atom no. A: " << atom_a_ << " Atom no. B: " << atom_b_ << " Bond type: " << type_code_
     << "\n";
}

} // namespace xtalmotif
