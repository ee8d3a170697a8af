#include "match/atom_address.h"

#include "match/motif_search_resource.h"

#include <ostream>

namespace xtalmotif {

AtomAddress::AtomAddress() : translation(make_handle<Translation>(-1, -1, -1)) {}

AtomAddress::AtomAddress(int nmol_in_msr_, int nmol_in_cm_, int natom_,
                         const THandle<Translation>& t)
    : nmol_in_msr(nmol_in_msr_), nmol_in_cm(nmol_in_cm_), natom(natom_),
      translation(make_handle<Translation>(*t)) {}

AtomAddress::AtomAddress(const AtomAddress& o)
    : nmol_in_msr(o.nmol_in_msr), nmol_in_cm(o.nmol_in_cm), natom(o.natom),
      translation(make_handle<Translation>(*o.translation)) {}

AtomAddress& AtomAddress::operator=(const AtomAddress& o) {
  if (this != &o) {
    nmol_in_msr = o.nmol_in_msr;
    nmol_in_cm = o.nmol_in_cm;
    natom = o.natom;
    translation = make_handle<Translation>(*o.translation);
  }
  return *this;
}

void AtomAddress::set_address(int nmol_in_msr_, int nmol_in_cm_, int natom_,
                              const THandle<Translation>& t) {
  nmol_in_msr = nmol_in_msr_;
  nmol_in_cm = nmol_in_cm_;
  natom = natom_;
  translation = t;
}

bool AtomAddress::operator==(const AtomAddress& o) const {
  return nmol_in_msr == o.nmol_in_msr && natom == o.natom && *translation == *o.translation;
}

bool AtomAddress::operator!=(const AtomAddress& o) const {
  const Translation& a = *translation;
  const Translation& b = *o.translation;
  return nmol_in_msr != o.nmol_in_msr && natom != o.natom && a[0] != b[0] && a[1] != b[1] &&
         a[2] != b[2];
}

bool AtomAddress::is_in_same_mol_as(const AtomAddress& o) const {
  return nmol_in_msr == o.nmol_in_msr && *translation == *o.translation;
}

Point AtomAddress::get_point(const THandle<MotifSearchResource>& resource, bool fractional) const {
  Point p = resource->get_point(nmol_in_msr, natom, true) + translation->as_point();
  return fractional ? p : resource->orthogonal_matrix() * p;
}

void AtomAddress::print(std::ostream& os) const {
  os << "nMol in msr: " << nmol_in_msr << " nMol in cm: " << nmol_in_cm << " nAtom: " << natom
     << " Translation: " << (*translation)[0] << ',' << (*translation)[1] << ','
     << (*translation)[2] << std::endl;
}

} // namespace xtalmotif
