#include "library/silver_carboxylate_motifs.h"

#include "chem/condition.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <string>
#include <vector>

namespace xtalmotif {

namespace {

/// Where a contact ends: atom `atom` of substructure `sub`.
struct End {
  int sub;
  int atom;
};

/// A lone silver atom: the ion once its bonds have been removed.
THandle<MotifSubstructure> make_silver() {
  auto silver = make_handle<MotifSubstructure>();
  silver->add(make_handle<SubstructureAtom>(Element(Element::Silver)));
  return silver;
}

/// The substructures and contact ends shared by every pattern.
struct PatternBuilder {
  THandle<Motif> motif;
  THandle<MotifSubstructure> carboxylate;
  THandle<MotifSubstructure> silver = make_silver();
  int o1 = -1;
  int o2 = -1;

  explicit PatternBuilder(const std::string &name) : motif(make_handle<Motif>(name)) {
    carboxylate = SilverCarboxylateMotifs::make_carboxylate(o1, o2);
  }

  /// Adds substructures in order: 'C' for the carboxylate, 'A' for a silver. The same two
  /// handles are added again and again.
  void add(const char *kinds) {
    for (const char *k = kinds; *k; ++k)
      motif->add_substructure(*k == 'C' ? carboxylate : silver);
  }

  End ag(int sub) const { return {sub, 0}; }
  End O1(int sub) const { return {sub, o1}; }
  End O2(int sub) const { return {sub, o2}; }

  void contact(End from, End to) {
    motif->add_contact(make_handle<MotifContact>(from.sub, from.atom, to.sub, to.atom,
                                                 SilverCarboxylateMotifs::short_contact(2.8)));
  }
};

void add_angle(Motif &motif, End first, End vertex, End third, double low, double high) {
  motif.add_angle_constraint(make_handle<MotifAngleConstraint>(
      first.sub, first.atom, vertex.sub, vertex.atom, third.sub, third.atom,
      THandle<Condition>(make_handle<InclusiveRange>("in range", low, high))));
}

/// Patterns 10 to 13, of four silvers and four carboxylates, share their substructure list.
const char *const four_by_four = "CAACACAC";

} // namespace

THandle<CombinedCriterion> SilverCarboxylateMotifs::short_contact(double d) {
  auto crit = make_handle<CombinedCriterion>(false, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                                             make_handle<ElementSet>(), make_handle<ElementSet>());
  // Ag-O coordination bonds of silver(I) carboxylates lie between about 2.1 and 2.7 A. The
  // contact may be intramolecular too, for a crystal in which the silver bonds were kept.
  crit->set_contact_type(ContactType::Any);
  crit->set_upper(d);
  return crit;
}

THandle<MotifSubstructure> SilverCarboxylateMotifs::make_carboxylate(int &o1, int &o2) {
  auto sub = make_handle<MotifSubstructure>();
  int carboxyl = sub->add(make_handle<SubstructureAtom>(Element(Element::Carbon)));
  int alpha = sub->add(make_handle<SubstructureAtom>(Element(Element::Carbon)));
  o1 = sub->add(make_handle<SubstructureAtom>(Element(Element::Oxygen)));
  o2 = sub->add(make_handle<SubstructureAtom>(Element(Element::Oxygen)));
  // Untyped bonds: a coordinated carboxylate is drawn with any mix of single, double and
  // delocalised C-O bonds, and its charge is not required either.
  sub->add(make_handle<SubstructureBond>(), carboxyl, alpha);
  sub->add(make_handle<SubstructureBond>(), carboxyl, o1);
  sub->add(make_handle<SubstructureBond>(), carboxyl, o2);
  sub->name = "carboxylate";
  return sub;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern1() {
  PatternBuilder p("pattern1");
  p.add("CA");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(1));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern2() {
  PatternBuilder p("pattern2");
  p.add("CAAC");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O1(0), p.ag(2));
  p.contact(p.ag(1), p.O1(3));
  p.contact(p.ag(2), p.O1(3));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern3() {
  PatternBuilder p("pattern3");
  p.add("CAAC");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  p.contact(p.ag(1), p.O1(3));
  p.contact(p.ag(2), p.O2(3));

  // The two syn,syn-bridging carboxylates and the two silvers close the eight-membered ring
  // Ag1-O-C-O-Ag2-O-C-O. Its two O-C-O angles are fixed by the carboxylates themselves; the six
  // others involve a silver and describe the bridge: the four Ag-O-C angles at the oxygens
  // (about 120-130 deg when a carboxylate bridges syn,syn) and the two O-Ag-O angles at the
  // silvers (close to linear, 150-175 deg, for two-coordinate silver(I)).
  //
  // The ranges are written from 0 to 180 degrees, low end first: they accept every real angle
  // and reject only a degenerate placement whose angle is undefined (two of its atoms on top of
  // each other). So they name the angles a caller may narrow without changing which dimers are
  // found; a range given high end first (180 to 0) would accept nothing and the pattern would
  // never match.
  const int c = 0; // the carboxyl carbon of make_carboxylate
  const double low = 0.0;
  const double high = 180.0;
  add_angle(*p.motif, p.ag(1), p.O1(0), {0, c}, low, high);
  add_angle(*p.motif, p.ag(2), p.O2(0), {0, c}, low, high);
  add_angle(*p.motif, p.ag(1), p.O1(3), {3, c}, low, high);
  add_angle(*p.motif, p.ag(2), p.O2(3), {3, c}, low, high);
  add_angle(*p.motif, p.O1(0), p.ag(1), p.O1(3), low, high);
  add_angle(*p.motif, p.O2(0), p.ag(2), p.O2(3), low, high);
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern4() {
  PatternBuilder p("pattern4");
  p.add("CA");
  p.contact(p.O1(0), p.ag(1));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern5() {
  PatternBuilder p("pattern5");
  p.add("CAA");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O1(0), p.ag(2));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern6() {
  PatternBuilder p("pattern6");
  p.add("CAA");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern7() {
  PatternBuilder p("pattern7");
  p.add("CAAC");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(1));
  p.contact(p.O1(0), p.ag(2));
  p.contact(p.ag(1), p.O1(3));
  p.contact(p.ag(2), p.O1(3));
  p.contact(p.ag(2), p.O2(3));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern8() {
  PatternBuilder p("pattern8");
  p.add("CAACAC");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(1));
  p.contact(p.O1(0), p.ag(2));
  p.contact(p.ag(1), p.O1(3));
  p.contact(p.ag(2), p.O1(3));
  p.contact(p.ag(2), p.O2(3));
  p.contact(p.ag(4), p.O2(3));
  p.contact(p.ag(2), p.O1(5));
  p.contact(p.ag(4), p.O1(5));
  p.contact(p.ag(4), p.O2(5));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern9() {
  PatternBuilder p("pattern9");
  p.add("CAACAC");
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O1(0), p.ag(2));
  p.contact(p.ag(2), p.O1(3));
  p.contact(p.ag(4), p.O1(3));
  p.contact(p.ag(4), p.O1(5));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern10() {
  PatternBuilder p("pattern10");
  p.add(four_by_four);
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  p.contact(p.O1(3), p.ag(1));
  p.contact(p.O2(3), p.ag(2));
  p.contact(p.O2(3), p.ag(4));
  p.contact(p.ag(2), p.O1(5));
  p.contact(p.O1(5), p.ag(4));
  p.contact(p.O2(5), p.ag(6));
  p.contact(p.O1(7), p.ag(4));
  p.contact(p.O2(7), p.ag(6));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern11() {
  PatternBuilder p("pattern11");
  p.add(four_by_four);
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  p.contact(p.O1(3), p.ag(2));
  p.contact(p.O2(3), p.ag(4));
  p.contact(p.O1(5), p.ag(4));
  p.contact(p.O2(5), p.ag(6));
  p.contact(p.O1(7), p.ag(6));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern12() {
  PatternBuilder p("pattern12");
  p.add(four_by_four);
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  p.contact(p.O1(0), p.ag(4));
  p.contact(p.O2(0), p.ag(6));
  p.contact(p.O1(3), p.ag(1));
  p.contact(p.O2(3), p.ag(2));
  p.contact(p.ag(4), p.O1(5));
  p.contact(p.O2(5), p.ag(6));
  p.contact(p.O1(7), p.ag(4));
  p.contact(p.O2(7), p.ag(6));
  p.contact(p.O1(7), p.ag(1));
  p.contact(p.O2(7), p.ag(2));
  return p.motif;
}

THandle<Motif> SilverCarboxylateMotifs::make_pattern13() {
  PatternBuilder p("pattern13");
  p.add(four_by_four);
  p.contact(p.O1(0), p.ag(1));
  p.contact(p.O2(0), p.ag(2));
  p.contact(p.O2(5), p.ag(2));
  p.contact(p.O1(0), p.ag(4));
  p.contact(p.O1(3), p.ag(1));
  p.contact(p.O2(3), p.ag(2));
  p.contact(p.ag(4), p.O1(5));
  p.contact(p.O2(5), p.ag(6));
  p.contact(p.O1(7), p.ag(4));
  p.contact(p.O2(7), p.ag(6));
  p.contact(p.O1(7), p.ag(1));
  p.contact(p.O2(3), p.ag(6));
  return p.motif;
}

void SilverCarboxylateMotifs::remove_silver_bonds(THandle<CrystalMaker> crystal) {
  const Element silver("Ag");
  // Bonds are collected over all molecules first and removed afterwards, because every removal
  // may split a molecule and renumber or append molecules under the iteration. A bond that the
  // crystal no longer finds after an earlier split (its molecule rebuilt) is picked up again by
  // a further pass; passes stop when one finds no silver bond or removes none.
  for (;;) {
    std::vector<THandle<Bond>> to_remove;
    for (int m = 0; m < crystal->nmolecules(); ++m) {
      THandle<Molecule> molecule = crystal->molecule(m);
      for (auto it = molecule->bond_iterator(); !it.at_end(); it.next()) {
        const THandle<Bond> &bond = it.current();
        if (molecule->atom(bond->atom1())->element() == silver ||
            molecule->atom(bond->atom2())->element() == silver)
          to_remove.push_back(bond);
      }
    }
    if (to_remove.empty())
      return;
    bool removed_any = false;
    for (const auto &bond : to_remove)
      removed_any = crystal->remove(bond) || removed_any;
    if (!removed_any)
      return;
  }
}

} // namespace xtalmotif
