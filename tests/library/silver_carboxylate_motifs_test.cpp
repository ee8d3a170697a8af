#include "library/silver_carboxylate_motifs.h"

#include "library_test_helpers.h"

#include "chem/condition.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "motif/motif.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Strings = std::vector<std::string>;

/// "0.O1" for oxygen o1 (atom 2) of a carboxylate, "0.O2" for o2 (atom 3), "1" for a silver,
/// anything else spelled out.
std::string end_text(const Motif &motif, int sub, int atom) {
  auto s = motif.substructure(sub);
  if (s->name == "carboxylate")
    return std::to_string(sub) + "." +
           (atom == 2   ? "O1"
            : atom == 3 ? "O2"
                        : "?" + std::to_string(atom));
  if (s->nnodes() == 1 && s->node(0)->allows(Element("Ag")) && atom == 0)
    return std::to_string(sub);
  return std::to_string(sub) + ".?" + std::to_string(atom);
}

Strings contacts_text(const Motif &motif) {
  Strings v;
  for (const auto &c : *motif.contacts())
    v.push_back(end_text(motif, c->from_substructure(), c->from_atom()) + ">" +
                end_text(motif, c->to_substructure(), c->to_atom()));
  return v;
}

/// 'C' for a carboxylate, 'A' for a silver, per substructure.
std::string kinds_text(const Motif &motif) {
  std::string s;
  for (const auto &sub : *motif.substructures())
    s += sub->name == "carboxylate" ? 'C' : sub->nnodes() == 1 ? 'A' : '?';
  return s;
}

struct Pattern {
  const char *name;
  std::function<THandle<Motif>()> make;
  std::string kinds;
  Strings contacts;
};

const std::vector<Pattern> &patterns() {
  static const std::vector<Pattern> all = {
      {"pattern1", &SilverCarboxylateMotifs::make_pattern1, "CA", {"0.O1>1", "0.O2>1"}},
      {"pattern2",
       &SilverCarboxylateMotifs::make_pattern2,
       "CAAC",
       {"0.O1>1", "0.O1>2", "1>3.O1", "2>3.O1"}},
      {"pattern3",
       &SilverCarboxylateMotifs::make_pattern3,
       "CAAC",
       {"0.O1>1", "0.O2>2", "1>3.O1", "2>3.O2"}},
      {"pattern4", &SilverCarboxylateMotifs::make_pattern4, "CA", {"0.O1>1"}},
      {"pattern5", &SilverCarboxylateMotifs::make_pattern5, "CAA", {"0.O1>1", "0.O1>2"}},
      {"pattern6", &SilverCarboxylateMotifs::make_pattern6, "CAA", {"0.O1>1", "0.O2>2"}},
      {"pattern7",
       &SilverCarboxylateMotifs::make_pattern7,
       "CAAC",
       {"0.O1>1", "0.O2>1", "0.O1>2", "1>3.O1", "2>3.O1", "2>3.O2"}},
      {"pattern8",
       &SilverCarboxylateMotifs::make_pattern8,
       "CAACAC",
       {"0.O1>1", "0.O2>1", "0.O1>2", "1>3.O1", "2>3.O1", "2>3.O2", "4>3.O2", "2>5.O1", "4>5.O1",
        "4>5.O2"}},
      {"pattern9",
       &SilverCarboxylateMotifs::make_pattern9,
       "CAACAC",
       {"0.O1>1", "0.O1>2", "2>3.O1", "4>3.O1", "4>5.O1"}},
      {"pattern10",
       &SilverCarboxylateMotifs::make_pattern10,
       "CAACACAC",
       {"0.O1>1", "0.O2>2", "3.O1>1", "3.O2>2", "3.O2>4", "2>5.O1", "5.O1>4", "5.O2>6", "7.O1>4",
        "7.O2>6"}},
      {"pattern11",
       &SilverCarboxylateMotifs::make_pattern11,
       "CAACACAC",
       {"0.O1>1", "0.O2>2", "3.O1>2", "3.O2>4", "5.O1>4", "5.O2>6", "7.O1>6"}},
      {"pattern12",
       &SilverCarboxylateMotifs::make_pattern12,
       "CAACACAC",
       {"0.O1>1", "0.O2>2", "0.O1>4", "0.O2>6", "3.O1>1", "3.O2>2", "4>5.O1", "5.O2>6", "7.O1>4",
        "7.O2>6", "7.O1>1", "7.O2>2"}},
      {"pattern13",
       &SilverCarboxylateMotifs::make_pattern13,
       "CAACACAC",
       {"0.O1>1", "0.O2>2", "5.O2>2", "0.O1>4", "3.O1>1", "3.O2>2", "4>5.O1", "5.O2>6", "7.O1>4",
        "7.O2>6", "7.O1>1", "3.O2>6"}},
  };
  return all;
}

// ---------------------------------------------------------------------------------------------
// Parts

TEST(SilverCarboxylateParts, ShortContactIsAnyTypeAbsoluteWindow) {
  for (double d : {2.8, 3.1}) {
    auto c = SilverCarboxylateMotifs::short_contact(d);
    EXPECT_FALSE(c->is_vdw_relative());
    EXPECT_EQ(c->upper(), d);
    EXPECT_EQ(c->lower(), -5.0);
    EXPECT_EQ(c->contact_type(), ContactType::Any);
    EXPECT_EQ(static_cast<int>(c->contact_type()), 3);
    EXPECT_EQ(c->min_path(), 4);
    EXPECT_EQ(c->max_path(), 999);
    EXPECT_FALSE(c->is_symmetric());
    EXPECT_TRUE(c->first_elements().empty());
    EXPECT_TRUE(c->second_elements().empty());
  }
  // A typical Ag-O bond of 2.4 A is inside; 2.9 A is not.
  auto c = SilverCarboxylateMotifs::short_contact(2.8);
  EXPECT_TRUE(c->test_distance(2.4, 1.72, 1.52));
  EXPECT_FALSE(c->test_distance(2.9, 1.72, 1.52));
}

TEST(SilverCarboxylateParts, CarboxylateFragment) {
  int o1 = -1;
  int o2 = -1;
  auto sub = SilverCarboxylateMotifs::make_carboxylate(o1, o2);
  EXPECT_EQ(o1, 2);
  EXPECT_EQ(o2, 3);
  EXPECT_EQ(sub->name, "carboxylate");
  EXPECT_EQ(testing::atoms_text(*sub), (Strings{"C", "C", "O", "O"}));
  EXPECT_EQ(sub->node(0)->elements().at(0).code(), 1);
  EXPECT_EQ(sub->node(2)->elements().at(0).code(), 64);
  // Carbon 0 carries the carboxyl oxygens and carbon 1; every bond untyped.
  EXPECT_EQ(testing::bonds_text(*sub), (Strings{"0-1:*", "0-2:*", "0-3:*"}));
}

TEST(SilverCarboxylateParts, CarboxylateFindsAnyDrawingOfTheGroup) {
  // Acetate drawn with a localised C=O / C-O(-) pair and with two delocalised C-O bonds: untyped
  // bonds and no charge requirement find both.
  for (BondType t1 : {BondType::Double, BondType::Delocalised}) {
    Molecule m;
    m.add_atom(make_handle<Atom>(Element("C")));
    m.add_atom(make_handle<Atom>(Element("C")));
    m.add_atom(make_handle<Atom>(Element("O")));
    m.add_atom(make_handle<Atom>(Element("O"), "O2", t1 == BondType::Double ? -1 : 0));
    m.add_bond(0, 1, BondType::Single);
    m.add_bond(1, 2, t1);
    m.add_bond(1, 3, t1 == BondType::Double ? BondType::Single : t1);
    int o1 = -1;
    int o2 = -1;
    auto sub = SilverCarboxylateMotifs::make_carboxylate(o1, o2);
    // The two oxygens can be mapped either way round.
    EXPECT_EQ(SubstructureSearch().search(*sub, m).size(), 2u);
  }
}

// ---------------------------------------------------------------------------------------------
// Patterns

TEST(SilverCarboxylatePatterns, SubstructuresAndContactsInOrder) {
  for (const auto &p : patterns()) {
    SCOPED_TRACE(p.name);
    auto m = p.make();
    EXPECT_EQ(m->name(), p.name);
    EXPECT_EQ(kinds_text(*m), p.kinds);
    EXPECT_EQ(contacts_text(*m), p.contacts);
  }
}

TEST(SilverCarboxylatePatterns, EveryContactIsAnyTypeUpTo2point8) {
  for (const auto &p : patterns()) {
    auto m = p.make();
    for (const auto &c : *m->contacts()) {
      SCOPED_TRACE(p.name);
      EXPECT_EQ(c->criterion()->contact_type(), ContactType::Any);
      EXPECT_FALSE(c->criterion()->is_vdw_relative());
      EXPECT_EQ(c->criterion()->upper(), 2.8);
      EXPECT_EQ(c->criterion()->lower(), -5.0);
      EXPECT_DOUBLE_EQ(c->max_distance_squared(), 2.8 * 2.8);
      // Adding the contact tied its element sets to O (8) and Ag (47).
      std::set<int> ends;
      ends.insert(c->criterion()->first_elements().begin(), c->criterion()->first_elements().end());
      ends.insert(c->criterion()->second_elements().begin(),
                  c->criterion()->second_elements().end());
      EXPECT_EQ(ends, (std::set<int>{8, 47}));
    }
  }
}

TEST(SilverCarboxylatePatterns, SubstructureHandlesAreSharedWithinAPattern) {
  for (const auto &p : patterns()) {
    SCOPED_TRACE(p.name);
    auto m = p.make();
    THandle<MotifSubstructure> carboxylate = m->substructure(0);
    THandle<MotifSubstructure> silver = m->substructure(1);
    EXPECT_NE(carboxylate, silver);
    for (int i = 0; i < m->nsubstructures(); ++i)
      EXPECT_EQ(m->substructure(i), p.kinds[i] == 'C' ? carboxylate : silver) << i;
    // The silver is a bare Ag atom (code 4) with no name and default sizes.
    EXPECT_EQ(testing::atoms_text(*silver), Strings{"Ag"});
    EXPECT_EQ(silver->node(0)->elements().at(0).code(), 4);
    EXPECT_EQ(silver->name, "");
    EXPECT_EQ(silver->max_target_size(), 100000);
  }
}

TEST(SilverCarboxylatePatterns, Pattern4IsOneMonodentateContact) {
  auto m = SilverCarboxylateMotifs::make_pattern4();
  EXPECT_EQ(m->nsubstructures(), 2);
  EXPECT_EQ(m->ncontacts(), 1);
}

TEST(SilverCarboxylatePatterns, OnlyPattern3HasAngleConstraints) {
  for (const auto &p : patterns())
    EXPECT_EQ(p.make()->angle_constraints()->size(), std::string(p.name) == "pattern3" ? 6u : 0u)
        << p.name;
}

TEST(SilverCarboxylatePatterns, Pattern3AnglesFollowTheDimerRing) {
  auto m = SilverCarboxylateMotifs::make_pattern3();
  // Two query atoms are neighbours in the ring when a contact joins them or a carboxylate bond
  // does.
  auto joined = [&](int s1, int a1, int s2, int a2) {
    for (const auto &c : *m->contacts())
      if ((c->from_substructure() == s1 && c->from_atom() == a1 && c->to_substructure() == s2 &&
           c->to_atom() == a2) ||
          (c->from_substructure() == s2 && c->from_atom() == a2 && c->to_substructure() == s1 &&
           c->to_atom() == a1))
        return true;
    if (s1 != s2)
      return false;
    for (const auto &e : m->substructure(s1)->edges())
      if ((e.atom1 == a1 && e.atom2 == a2) || (e.atom1 == a2 && e.atom2 == a1))
        return true;
    return false;
  };
  std::set<std::vector<int>> triples;
  int at_silver = 0;
  for (const auto &a : *m->angle_constraints()) {
    // Each angle is made by three ring atoms, the vertex bonded or in contact with both others.
    EXPECT_TRUE(joined(a->substructure(0), a->atom(0), a->substructure(1), a->atom(1)));
    EXPECT_TRUE(joined(a->substructure(1), a->atom(1), a->substructure(2), a->atom(2)));
    bool silver_vertex = m->substructure(a->substructure(1))->name != "carboxylate";
    at_silver += silver_vertex;
    // Every angle involves a silver: at its vertex or at one end.
    bool has_silver = silver_vertex || m->substructure(a->substructure(0))->name != "carboxylate" ||
                      m->substructure(a->substructure(2))->name != "carboxylate";
    EXPECT_TRUE(has_silver);
    // The same angle is not constrained twice (in either direction).
    std::vector<int> t = {a->substructure(0), a->atom(0),         a->substructure(1),
                          a->atom(1),         a->substructure(2), a->atom(2)};
    std::vector<int> r = {t[4], t[5], t[2], t[3], t[0], t[1]};
    EXPECT_TRUE(triples.insert(std::min(t, r)).second);

    // "in range" 0 to 180 degrees, low end first: every real angle passes, an undefined one not.
    auto range = dynamic_cast<const InclusiveRange *>(a->condition().get());
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(range->name(), "in range");
    EXPECT_EQ(range->low(), 0.0);
    EXPECT_EQ(range->high(), 180.0);
    for (double deg : {0.0, 95.0, 124.5, 163.0, 180.0})
      EXPECT_TRUE(range->test(deg)) << deg;
    EXPECT_FALSE(range->test(std::numeric_limits<double>::quiet_NaN()));
  }
  // Two O-Ag-O angles at the silvers and four Ag-O-C angles at the oxygens.
  EXPECT_EQ(at_silver, 2);
  EXPECT_EQ(triples.size(), 6u);
}

TEST(SilverCarboxylatePatterns, CopiesOfPattern3DropTheAngles) {
  // A copied motif carries no angle constraints; the original keeps its own.
  auto m = SilverCarboxylateMotifs::make_pattern3();
  Motif copy(*m);
  EXPECT_EQ(copy.angle_constraints()->size(), 0u);
  EXPECT_EQ(m->angle_constraints()->size(), 6u);
}

// ---------------------------------------------------------------------------------------------
// Removing bonds to silver

THandle<Atom> atom(const char *symbol) { return make_handle<Atom>(Element(symbol), symbol); }

/// Total atoms and bonds over the crystal's molecules, and the silvers still bonded.
struct Census {
  int atoms = 0;
  int bonds = 0;
  int silver_bonds = 0;
  int lone_silvers = 0;
};

Census census(const CrystalMaker &crystal) {
  Census c;
  const Element ag("Ag");
  for (int i = 0; i < crystal.nmolecules(); ++i) {
    auto m = crystal.molecule(i);
    c.atoms += m->natoms();
    c.bonds += m->nbonds();
    for (const auto &b : m->bonds())
      if (m->atom(b->atom1())->element() == ag || m->atom(b->atom2())->element() == ag)
        ++c.silver_bonds;
    if (m->natoms() == 1 && m->atom(0)->element() == ag)
      ++c.lone_silvers;
  }
  return c;
}

TEST(SilverCarboxylateRemoveBonds, SilverBetweenTwoCarboxylatesStandsAlone) {
  // Acetate C0 C1 O2 O3, silver 4, acetate C5 C6 O7 O8; the silver bonded to O3 and O7.
  auto m = make_handle<Molecule>();
  for (const char *s : {"C", "C", "O", "O", "Ag", "C", "C", "O", "O"})
    m->add_atom(atom(s));
  m->add_bond(0, 1, BondType::Single);
  m->add_bond(1, 2, BondType::Double);
  m->add_bond(1, 3, BondType::Single);
  m->add_bond(4, 3, BondType::Single);
  m->add_bond(4, 7, BondType::Single);
  m->add_bond(5, 6, BondType::Single);
  m->add_bond(6, 7, BondType::Single);
  m->add_bond(6, 8, BondType::Double);
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(m);

  SilverCarboxylateMotifs::remove_silver_bonds(crystal);

  ASSERT_EQ(crystal->nmolecules(), 3);
  Census c = census(*crystal);
  EXPECT_EQ(c.atoms, 9);
  EXPECT_EQ(c.bonds, 6);
  EXPECT_EQ(c.silver_bonds, 0);
  EXPECT_EQ(c.lone_silvers, 1);
  // The two carboxylates are whole, four atoms each.
  int four_atom_pieces = 0;
  for (int i = 0; i < crystal->nmolecules(); ++i)
    four_atom_pieces += crystal->molecule(i)->natoms() == 4;
  EXPECT_EQ(four_atom_pieces, 2);
}

TEST(SilverCarboxylateRemoveBonds, EveryMoleculeAndSilverSilverBonds) {
  // Molecule A: Ag0-Ag1 with Ag1-N2, N2-C3. Molecule B: O0-Ag1-O2 with C3-O0.
  auto a = make_handle<Molecule>();
  for (const char *s : {"Ag", "Ag", "N", "C"})
    a->add_atom(atom(s));
  a->add_bond(0, 1);
  a->add_bond(1, 2);
  a->add_bond(2, 3, BondType::Single);
  auto b = make_handle<Molecule>();
  for (const char *s : {"O", "Ag", "O", "C"})
    b->add_atom(atom(s));
  b->add_bond(0, 1);
  b->add_bond(1, 2);
  b->add_bond(3, 0, BondType::Single);
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(a);
  crystal->add_molecule(b);

  SilverCarboxylateMotifs::remove_silver_bonds(crystal);

  Census c = census(*crystal);
  EXPECT_EQ(c.atoms, 8);
  EXPECT_EQ(c.bonds, 2);
  EXPECT_EQ(c.silver_bonds, 0);
  EXPECT_EQ(c.lone_silvers, 3);
  // Pieces: Ag, Ag, N-C, C-O, Ag, O.
  EXPECT_EQ(crystal->nmolecules(), 6);
}

TEST(SilverCarboxylateRemoveBonds, CrystalWithoutSilverIsUntouched) {
  auto m = make_handle<Molecule>();
  for (const char *s : {"C", "O", "O"})
    m->add_atom(atom(s));
  m->add_bond(0, 1, BondType::Double);
  m->add_bond(0, 2, BondType::Single);
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(m);
  SilverCarboxylateMotifs::remove_silver_bonds(crystal);
  ASSERT_EQ(crystal->nmolecules(), 1);
  EXPECT_EQ(crystal->molecule(0), m);
  EXPECT_EQ(m->nbonds(), 2);

  auto empty = make_handle<CrystalMaker>();
  SilverCarboxylateMotifs::remove_silver_bonds(empty);
  EXPECT_EQ(empty->nmolecules(), 0);
}

} // namespace
} // namespace xtalmotif
