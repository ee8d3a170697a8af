#include "library/extended_ring_motifs.h"

#include "crystal/cif_reader.h"
#include "chem/condition.h"
#include "chem/element.h"
#include "chem/substructure.h"
#include "library/pre_defined_substructures.h"

#include <fstream>
#include <initializer_list>
#include <system_error>

namespace xtalmotif {

namespace {

using Pairs = std::initializer_list<std::pair<int, int>>;

/// A fresh criterion of the shape every contact of this library starts from; the caller then
/// sets its kind and limits.
THandle<CombinedCriterion> base_criterion(bool vdw_relative) {
  return make_handle<CombinedCriterion>(vdw_relative, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                                        make_handle<ElementSet>(), make_handle<ElementSet>());
}

void add_contacts(Motif &motif, Pairs pairs, THandle<CombinedCriterion> (*crit)()) {
  for (const auto &p : pairs)
    motif.add_contact(make_handle<MotifContact>(p.first, 0, p.second, 0, crit()));
}

/// A motif named `name` whose groups are given by `order` ('D' a donor, 'A' an acceptor, each a
/// fresh substructure), then joined by the intramolecular links, the hydrogen bonds (written from
/// the donor) and the long-range contacts, in that order.
///
/// The designs below group the substructures into molecules with a chain of intramolecular links
/// and close the rings named by each motif with hydrogen bonds. The long-range contacts go
/// between molecules that are not hydrogen-bonded to each other, the nearest such pairs (two
/// hydrogen bonds apart) first: they keep those groups out of hydrogen-bonding distance and,
/// being intermolecular, make the two molecules distinct molecules of the crystal, so that a ring
/// cannot be matched by folding the pattern back onto a molecule already used.
THandle<Motif> assemble(const char *name, const char *order, Pairs intra, Pairs hbonds,
                        Pairs longs) {
  auto motif = make_handle<Motif>(name);
  for (const char *c = order; *c; ++c)
    motif->add_substructure(*c == 'D' ? ExtendedRingMotifs::make_donor()
                                      : ExtendedRingMotifs::make_acceptor());
  add_contacts(*motif, intra, &ExtendedRingMotifs::intra_crit);
  add_contacts(*motif, hbonds, &ExtendedRingMotifs::hbond_crit);
  add_contacts(*motif, longs, &ExtendedRingMotifs::long_crit);
  return motif;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Groups and criteria

THandle<MotifSubstructure> ExtendedRingMotifs::make_donor() {
  auto sub = make_handle<MotifSubstructure>();
  auto atom = make_handle<SubstructureAtom>(Element(Element::Oxygen));
  atom->add_element(Element(Element::Nitrogen));
  // Hydroxyl, water and hydronium oxygens; amine, amide and ammonium nitrogens.
  atom->add_constraint(THandle<AtomConstraint>(make_handle<AtomNHydrogensConstraint>(
      THandle<Condition>(make_handle<InclusiveRange>("in range", 1.0, 3.0)), true)));
  sub->add(atom);
  return sub;
}

THandle<MotifSubstructure> ExtendedRingMotifs::make_acceptor() {
  auto sub = make_handle<MotifSubstructure>();
  auto atom = make_handle<SubstructureAtom>(Element(Element::Oxygen));
  atom->add_element(Element(Element::Nitrogen));
  atom->add_element(Element(Element::Sulfur));
  // No hydrogen requirement: a hydroxyl oxygen or an N-H nitrogen accepts as well as donates.
  sub->add(atom);
  return sub;
}

THandle<CombinedCriterion> ExtendedRingMotifs::intra_crit() {
  auto crit = base_criterion(false);
  crit->set_contact_type(ContactType::Intra);
  // Generous enough for groups at the far ends of any small molecule.
  crit->set_upper(20.0);
  return crit;
}

THandle<CombinedCriterion> ExtendedRingMotifs::hbond_crit() {
  auto crit = base_criterion(true);
  crit->set_contact_type(ContactType::Inter);
  // Measured between the heavy atoms: 3.24 A for O...O, 3.27 A for N...O, 3.30 A for N...N.
  crit->set_upper(0.2);
  return crit;
}

THandle<CombinedCriterion> ExtendedRingMotifs::long_crit() {
  auto crit = base_criterion(true);
  crit->set_contact_type(ContactType::Inter);
  crit->set_upper(30.0);
  // Just beyond hydrogen-bond reach, so the window starts where hbond_crit ends.
  crit->set_lower(0.2);
  return crit;
}

// ---------------------------------------------------------------------------------------------
// Motifs. Groups are numbered as added; a>b is a contact from group a to group b. Hydrogen bonds
// are written from the donor, except that r2_ribbon writes the second bond of each ring from the
// acceptor; the search follows a contact either way.

// clang-format off
// Four molecules in a ribbon; each pair of neighbours is joined by two hydrogen bonds, donor to
// acceptor both ways, closing one ring.
// Molecules (group index, D donor, A acceptor): M1 0D 1A; M2 2D 3A 4D 5A; M3 6D 7A 8D 9A; M4 10D
// 11A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>3 1>2); M2-M3
// (4>7 5>6); M3-M4 (8>11 9>10).
THandle<Motif> ExtendedRingMotifs::r2_ribbon() {
  return assemble("R2 ribbon", "DADADADADADA",
                  {{0, 1}, {2, 3}, {3, 4}, {4, 5}, {6, 7}, {7, 8}, {8, 9}, {10, 11}},
                  {{0, 3}, {1, 2}, {4, 7}, {5, 6}, {8, 11}, {9, 10}},
                  {});
}

// A ribbon of four molecules; each inner molecule has two donors and one acceptor, which accepts
// one hydrogen bond from each neighbour, so neighbouring rings share it.
// Molecules (group index, D donor, A acceptor): M1 0D 1A; M2 2D 3A 4D; M3 5D 6A 7D; M4 8D 9A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>3 2>1); M2-M3
// (4>6 5>3); M3-M4 (7>9 8>6).
THandle<Motif> ExtendedRingMotifs::r2_ribbon_shared_acceptor() {
  return assemble("R2 ribbon with shared acceptor", "DADADDADDA",
                  {{0, 1}, {2, 3}, {3, 4}, {5, 6}, {6, 7}, {8, 9}},
                  {{0, 3}, {2, 1}, {4, 6}, {5, 3}, {7, 9}, {8, 6}},
                  {});
}

// A ribbon of four molecules; each inner molecule has one donor and two acceptors, and its donor
// gives one hydrogen bond to each neighbour.
// Molecules (group index, D donor, A acceptor): M1 0D 1A; M2 2D 3A 4A; M3 5D 6A 7A; M4 8D 9A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>3 2>1); M2-M3
// (2>6 5>4); M3-M4 (5>9 8>7).
THandle<Motif> ExtendedRingMotifs::r2_ribbon_shared_donor() {
  return assemble("R2 ribbon shared donor", "DADAADAADA",
                  {{0, 1}, {2, 3}, {3, 4}, {5, 6}, {6, 7}, {8, 9}},
                  {{0, 3}, {2, 1}, {2, 6}, {5, 4}, {5, 9}, {8, 7}},
                  {});
}

// A urea-like tape of five molecules: both donors of each molecule give a hydrogen bond to the one
// acceptor of the molecule before it, closing a two-molecule ring with a doubly used acceptor. The
// first molecule also carries one donor of its own, the one that would continue the tape
// backwards.
// Molecules (group index, D donor, A acceptor): M1 0D 9A; M2 1D 2D 10A; M3 3D 4D 11A; M4 5D 6D
// 12A; M5 7D 8D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (1>9 2>9); M2-M3
// (3>10 4>10); M3-M4 (5>11 6>11); M4-M5 (7>12 8>12).
THandle<Motif> ExtendedRingMotifs::r2_ribbon_acapre() {
  return assemble("R2 ribbon ACAPRE", "DDDDDDDDDAAAA",
                  {{0, 9}, {1, 2}, {2, 10}, {3, 4}, {4, 11}, {5, 6}, {6, 12}, {7, 8}},
                  {{1, 9}, {2, 9}, {3, 10}, {4, 10}, {5, 11}, {6, 11}, {7, 12}, {8, 12}},
                  {});
}

// Six molecules in a strip of four fused three-molecule rings; every ring is cyclic (each molecule
// donates to the next one round the ring). One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 9A; M2 1D 10A 11A; M3 2D 3D 12A 13A; M4 4D
// 5D 14A 15A; M5 6D 7D 16A; M6 8D 17A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>10 1>12 2>9);
// M2-M3-M4 (1>12 3>14 4>11); M3-M4-M5 (3>14 5>16 6>13); M4-M5-M6 (5>16 7>17 8>15).
THandle<Motif> ExtendedRingMotifs::r3_ribbon() {
  return assemble("R3 ribbon", "DDDDDDDDDAAAAAAAAA",
                  {{0, 9}, {1, 10}, {10, 11}, {2, 3}, {3, 12}, {12, 13}, {4, 5}, {5, 14},
                   {14, 15}, {6, 7}, {7, 16}, {8, 17}},
                  {{0, 10}, {2, 9}, {1, 12}, {4, 11}, {3, 14}, {6, 13}, {5, 16}, {8, 15},
                   {7, 17}},
                  {});
}

// A 3 x 3 block of molecules M11..M33 forming four four-molecule rings; every molecule donates to
// its right and lower neighbours and accepts from its left and upper ones. One group per hydrogen
// bond.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 3D 12A; M13 4D 13A; M21 5D 6D
// 14A; M22 7D 8D 15A 16A; M23 9D 17A 18A; M31 10D 19A; M32 11D 20A 21A; M33 22A 23A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>12
// 3>16 5>15 1>14); M12-M13-M23-M22 (2>13 4>18 7>17 3>16); M21-M22-M32-M31 (5>15 8>21 10>20 6>19);
// M22-M23-M33-M32 (7>17 9>23 11>22 8>21).
// 17 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_net_type1() {
  return assemble("R4 net type 1", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 1}, {2, 3}, {3, 12}, {4, 13}, {5, 6}, {6, 14}, {7, 8}, {8, 15}, {15, 16},
                   {9, 17}, {17, 18}, {10, 19}, {11, 20}, {20, 21}, {22, 23}},
                  {{0, 12}, {2, 13}, {1, 14}, {3, 16}, {5, 15}, {4, 18}, {7, 17}, {6, 19},
                   {8, 21}, {10, 20}, {9, 23}, {11, 22}},
                  {{0, 4}, {0, 7}, {0, 10}, {2, 5}, {2, 9}, {2, 11}, {4, 7}, {4, 22}, {5, 9},
                   {5, 11}, {7, 10}, {7, 22}, {9, 11}, {10, 22}, {0, 9}, {0, 11}, {2, 10}});
}

// The 3 x 3 block as a two-component net: the corner and central molecules donate to all their
// neighbours, the edge molecules only accept. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 12A 13A 14A; M13 2D 3D; M21 15A 16A
// 17A; M22 4D 5D 6D 7D; M23 18A 19A 20A; M31 8D 9D; M32 21A 22A 23A; M33 10D 11D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>12
// 6>14 4>15 1>16); M12-M13-M23-M22 (2>13 3>19 5>18 6>14); M21-M22-M32-M31 (4>15 7>23 8>21 9>17);
// M22-M23-M33-M32 (5>18 11>20 10>22 7>23).
// 16 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_net_type2() {
  return assemble("R4 net type 2", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 1}, {12, 13}, {13, 14}, {2, 3}, {15, 16}, {16, 17}, {4, 5}, {5, 6},
                   {6, 7}, {18, 19}, {19, 20}, {8, 9}, {21, 22}, {22, 23}, {10, 11}},
                  {{0, 12}, {2, 13}, {1, 16}, {6, 14}, {4, 15}, {3, 19}, {5, 18}, {9, 17},
                   {7, 23}, {8, 21}, {11, 20}, {10, 22}},
                  {{0, 2}, {0, 4}, {0, 8}, {12, 15}, {12, 18}, {12, 21}, {2, 4}, {2, 10},
                   {15, 18}, {15, 21}, {4, 8}, {4, 10}, {18, 21}, {8, 10}, {0, 18}, {0, 21}});
}

// The 3 x 3 block with donations to the right and downwards; each molecule has one donor, used for
// both its hydrogen bonds, and one acceptor per hydrogen bond received.
// Molecules (group index, D donor, A acceptor): M11 12D; M12 13D 0A; M13 14D 1A; M21 15D 2A; M22
// 16D 3A 4A; M23 17D 5A 6A; M31 18D 7A; M32 19D 8A 9A; M33 10A 11A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (12>0
// 13>4 15>3 12>2); M12-M13-M23-M22 (13>1 14>6 16>5 13>4); M21-M22-M32-M31 (15>3 16>9 18>8 15>7);
// M22-M23-M33-M32 (16>5 17>11 19>10 16>9).
// 11 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_donor() {
  return assemble("R4 sheet with shared donor", "AAAAAAAAAAAADDDDDDDD",
                  {{13, 0}, {14, 1}, {15, 2}, {16, 3}, {3, 4}, {17, 5}, {5, 6}, {18, 7}, {19, 8},
                   {8, 9}, {10, 11}},
                  {{12, 0}, {13, 1}, {12, 2}, {13, 4}, {15, 3}, {14, 6}, {16, 5}, {15, 7},
                   {16, 9}, {18, 8}, {17, 11}, {19, 10}},
                  {{12, 14}, {12, 16}, {12, 18}, {13, 15}, {13, 17}, {13, 19}, {14, 16},
                   {14, 10}, {15, 17}, {15, 19}, {16, 18}});
}

// The 3 x 3 block with the middle row running against the outer rows and every column downwards;
// one donor per molecule, one acceptor per hydrogen bond received.
// Molecules (group index, D donor, A acceptor): M11 0D; M12 1D 8A; M13 2D 9A; M21 3D 10A 11A; M22
// 4D 12A 13A; M23 5D 14A; M31 6D 15A; M32 7D 16A 17A; M33 18A 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>8 1>13
// 4>10 0>11); M12-M13-M23-M22 (1>9 2>14 5>12 1>13); M21-M22-M32-M31 (4>10 4>17 6>16 3>15);
// M22-M23-M33-M32 (5>12 5>19 7>18 4>17).
// 10 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_donor_type2() {
  return assemble("R4 sheet with shared donor type2", "DDDDDDDDAAAAAAAAAAAA",
                  {{1, 8}, {2, 9}, {3, 10}, {10, 11}, {4, 12}, {12, 13}, {5, 14}, {6, 15},
                   {7, 16}, {16, 17}, {18, 19}},
                  {{0, 8}, {1, 9}, {0, 11}, {1, 13}, {4, 10}, {2, 14}, {5, 12}, {3, 15}, {4, 17},
                   {6, 16}, {5, 19}, {7, 18}},
                  {{0, 2}, {0, 4}, {0, 6}, {1, 3}, {1, 5}, {1, 7}, {2, 4}, {2, 18}, {3, 5},
                   {3, 7}});
}

// The 3 x 3 block with donations to the right and downwards; each molecule has one acceptor, which
// takes both hydrogen bonds it receives, and one donor per bond given.
// Molecules (group index, D donor, A acceptor): M11 8D 9D; M12 10D 11D 0A; M13 12D 1A; M21 13D 14D
// 2A; M22 15D 16D 3A; M23 17D 4A; M31 18D 5A; M32 19D 6A; M33 7A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (8>0 11>3
// 13>3 9>2); M12-M13-M23-M22 (10>1 12>4 15>4 11>3); M21-M22-M32-M31 (13>3 16>6 18>6 14>5);
// M22-M23-M33-M32 (15>4 17>7 19>7 16>6).
// 10 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_acceptor() {
  return assemble("R4 sheet with shared acceptor", "AAAAAAAADDDDDDDDDDDD",
                  {{8, 9}, {10, 11}, {11, 0}, {12, 1}, {13, 14}, {14, 2}, {15, 16}, {16, 3},
                   {17, 4}, {18, 5}, {19, 6}},
                  {{8, 0}, {10, 1}, {9, 2}, {11, 3}, {13, 3}, {12, 4}, {15, 4}, {14, 5}, {16, 6},
                   {18, 6}, {17, 7}, {19, 7}},
                  {{8, 12}, {8, 15}, {8, 18}, {10, 13}, {10, 17}, {10, 19}, {12, 15}, {12, 7},
                   {13, 17}, {13, 19}});
}

// The 3 x 3 block as a two-component sheet: each corner molecule donates through two donor groups
// to its two edge neighbours, each edge molecule takes both on one acceptor and donates to the
// central molecule, whose two acceptors take two hydrogen bonds each and whose two donors point
// out of the fragment.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 14A; M13 3D 4D; M21 5D 15A; M22
// 6D 7D 16A 17A; M23 8D 18A; M31 9D 10D; M32 11D 19A; M33 12D 13D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>14
// 2>16 5>16 1>15); M12-M13-M23-M22 (3>14 4>18 8>17 2>16); M21-M22-M32-M31 (5>16 11>17 10>19 9>15);
// M22-M23-M33-M32 (8>17 12>18 13>19 11>17).
// 15 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_duel_donor() {
  return assemble("R4 sheet motif duel donor", "DDDDDDDDDDDDDDAAAAAA",
                  {{0, 1}, {2, 14}, {3, 4}, {5, 15}, {6, 7}, {7, 16}, {16, 17}, {8, 18}, {9, 10},
                   {11, 19}, {12, 13}},
                  {{0, 14}, {3, 14}, {1, 15}, {2, 16}, {5, 16}, {4, 18}, {8, 17}, {9, 15},
                   {11, 17}, {10, 19}, {12, 18}, {13, 19}},
                  {{0, 3}, {0, 6}, {0, 9}, {2, 5}, {2, 8}, {2, 11}, {3, 6}, {3, 12}, {5, 8},
                   {5, 11}, {6, 9}, {6, 12}, {8, 11}, {9, 12}, {0, 8}});
}

// The 3 x 3 block with donations to the right and downwards; each molecule has one donor and one
// acceptor, each used for up to two hydrogen bonds.
// Molecules (group index, D donor, A acceptor): M11 0D; M12 1D 8A; M13 2D 9A; M21 3D 10A; M22 4D
// 11A; M23 5D 12A; M31 6D 13A; M32 7D 14A; M33 15A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>8 1>11
// 3>11 0>10); M12-M13-M23-M22 (1>9 2>12 4>12 1>11); M21-M22-M32-M31 (3>11 4>14 6>14 3>13);
// M22-M23-M33-M32 (4>12 5>15 7>15 4>14).
// 9 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other apart,
// the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_donor_and_acceptor() {
  return assemble("R4 sheet with shared donor and acceptor", "DDDDDDDDAAAAAAAA",
                  {{1, 8}, {2, 9}, {3, 10}, {4, 11}, {5, 12}, {6, 13}, {7, 14}},
                  {{0, 8}, {1, 9}, {0, 10}, {1, 11}, {3, 11}, {2, 12}, {4, 12}, {3, 13}, {4, 14},
                   {6, 14}, {5, 15}, {7, 15}},
                  {{0, 2}, {0, 4}, {0, 6}, {1, 3}, {1, 5}, {1, 7}, {2, 4}, {2, 15}, {3, 5}});
}

// The 3 x 3 block with the hydrogen bonds of the middle row running against those of the outer
// rows and every column running downwards. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 3D 12A; M13 4D 13A; M21 5D 14A
// 15A; M22 6D 7D 16A 17A; M23 8D 9D 18A; M31 10D 19A; M32 11D 20A 21A; M33 22A 23A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>12
// 3>17 6>14 1>15); M12-M13-M23-M22 (2>13 4>18 8>16 3>17); M21-M22-M32-M31 (6>14 7>21 10>20 5>19);
// M22-M23-M33-M32 (8>16 9>23 11>22 7>21).
// 27 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_type3() {
  return assemble("R4 sheet type3", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 1}, {2, 3}, {3, 12}, {4, 13}, {5, 14}, {14, 15}, {6, 7}, {7, 16},
                   {16, 17}, {8, 9}, {9, 18}, {10, 19}, {11, 20}, {20, 21}, {22, 23}},
                  {{0, 12}, {2, 13}, {1, 15}, {3, 17}, {6, 14}, {4, 18}, {8, 16}, {5, 19},
                   {7, 21}, {10, 20}, {9, 23}, {11, 22}},
                  {{0, 4}, {0, 6}, {0, 10}, {2, 5}, {2, 8}, {2, 11}, {4, 6}, {4, 22}, {5, 8},
                   {5, 11}, {6, 10}, {6, 22}, {8, 11}, {10, 22}, {0, 8}, {0, 11}, {2, 10},
                   {2, 22}, {4, 5}, {4, 11}, {5, 22}, {8, 10}, {0, 22}, {4, 10}, {1, 13},
                   {1, 17}, {1, 19}});
}

// The 3 x 3 block with the middle row running against the outer rows and every column downwards;
// one acceptor per molecule.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 3D 12A; M13 4D 13A; M21 5D 14A;
// M22 6D 7D 15A; M23 8D 9D 16A; M31 10D 17A; M32 11D 18A; M33 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>12
// 3>15 6>14 1>14); M12-M13-M23-M22 (2>13 4>16 8>15 3>15); M21-M22-M32-M31 (6>14 7>18 10>18 5>17);
// M22-M23-M33-M32 (8>15 9>19 11>19 7>18).
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_acceptor_type2() {
  return assemble("R4 sheet with shared acceptor type 2", "DDDDDDDDDDDDAAAAAAAA",
                  {{0, 1}, {2, 3}, {3, 12}, {4, 13}, {5, 14}, {6, 7}, {7, 15}, {8, 9}, {9, 16},
                   {10, 17}, {11, 18}},
                  {{0, 12}, {2, 13}, {1, 14}, {3, 15}, {6, 14}, {4, 16}, {8, 15}, {5, 17},
                   {7, 18}, {10, 18}, {9, 19}, {11, 19}},
                  {});
}

// The 3 x 3 block with the hydrogen bonds running round the rim and every edge molecule also
// donating to the central molecule, which accepts four; one donor per molecule.
// Molecules (group index, D donor, A acceptor): M11 0D 8A; M12 1D 9A; M13 2D 10A; M21 3D 11A; M22
// 12A 13A 14A 15A; M23 4D 16A; M31 5D 17A; M32 6D 18A; M33 7D 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>9 1>12
// 3>13 3>8); M12-M13-M23-M22 (1>10 2>16 4>14 1>12); M21-M22-M32-M31 (3>13 6>15 6>17 5>11);
// M22-M23-M33-M32 (4>14 4>19 7>18 6>15).
// 11 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_donor_type3() {
  return assemble("R4 sheet with shared donor type 3", "DDDDDDDDAAAAAAAAAAAA",
                  {{0, 8}, {1, 9}, {2, 10}, {3, 11}, {12, 13}, {13, 14}, {14, 15}, {4, 16},
                   {5, 17}, {6, 18}, {7, 19}},
                  {{0, 9}, {1, 10}, {3, 8}, {1, 12}, {3, 13}, {2, 16}, {4, 14}, {5, 11}, {6, 15},
                   {6, 17}, {4, 19}, {7, 18}},
                  {{0, 2}, {0, 12}, {0, 5}, {1, 3}, {1, 4}, {1, 6}, {2, 12}, {2, 7}, {3, 4},
                   {3, 6}, {12, 5}});
}

// The 3 x 3 block with the upper two rows running to the right, the lower row to the left and
// every column downwards; one acceptor per molecule.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 3D 12A; M13 4D 13A; M21 5D 6D
// 14A; M22 7D 8D 15A; M23 9D 16A; M31 17A; M32 10D 18A; M33 11D 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>12
// 3>15 5>15 1>14); M12-M13-M23-M22 (2>13 4>16 7>16 3>15); M21-M22-M32-M31 (5>15 8>18 10>17 6>17);
// M22-M23-M33-M32 (7>16 9>19 11>18 8>18).
// 14 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_acceptor_type4() {
  return assemble("R4 sheet with shared acceptor type 4", "DDDDDDDDDDDDAAAAAAAA",
                  {{0, 1}, {2, 3}, {3, 12}, {4, 13}, {5, 6}, {6, 14}, {7, 8}, {8, 15}, {9, 16},
                   {10, 18}, {11, 19}},
                  {{0, 12}, {2, 13}, {1, 14}, {3, 15}, {5, 15}, {4, 16}, {7, 16}, {6, 17},
                   {8, 18}, {10, 17}, {9, 19}, {11, 18}},
                  {{0, 4}, {0, 7}, {0, 17}, {2, 5}, {2, 9}, {2, 10}, {4, 7}, {4, 11}, {5, 9},
                   {5, 10}, {7, 17}, {7, 11}, {9, 10}, {17, 11}});
}

// The 3 x 3 block with the central molecule donating through four donor groups to the edge
// molecules, two opposite corners donating through two groups each, and the other two corners
// (which also carry one donor pointing out of the fragment) and the edge molecules accepting two
// hydrogen bonds on one acceptor.
// Molecules (group index, D donor, A acceptor): M11 0D 1D; M12 2D 14A; M13 15A 3D; M21 4D 16A; M22
// 5D 6D 7D 8D; M23 9D 17A; M31 18A 10D; M32 11D 19A; M33 12D 13D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>14
// 5>14 6>16 1>16); M12-M13-M23-M22 (2>15 9>15 7>17 5>14); M21-M22-M32-M31 (6>16 8>19 11>18 4>18);
// M22-M23-M33-M32 (7>17 12>17 13>19 8>19).
// 10 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r4_sheet_duel_donor_type2() {
  return assemble("R4 sheet with duel donor type 2", "DDDDDDDDDDDDDDAAAAAA",
                  {{0, 1}, {2, 14}, {15, 3}, {4, 16}, {5, 6}, {6, 7}, {7, 8}, {9, 17}, {18, 10},
                   {11, 19}, {12, 13}},
                  {{0, 14}, {2, 15}, {1, 16}, {5, 14}, {6, 16}, {9, 15}, {7, 17}, {4, 18},
                   {8, 19}, {11, 18}, {12, 17}, {13, 19}},
                  {{0, 15}, {0, 5}, {0, 18}, {2, 4}, {2, 9}, {2, 11}, {15, 5}, {15, 12}, {4, 9},
                   {4, 11}});
}

// The 3 x 3 block with the hydrogen bonds running round the rim and the central molecule donating
// to all four edge molecules; one acceptor per molecule.
// Molecules (group index, D donor, A acceptor): M11 0D 12A; M12 1D 13A; M13 2D 14A; M21 3D 15A;
// M22 4D 5D 6D 7D; M23 8D 16A; M31 9D 17A; M32 10D 18A; M33 11D 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>13
// 4>13 5>15 3>12); M12-M13-M23-M22 (1>14 2>16 6>16 4>13); M21-M22-M32-M31 (5>15 7>18 10>17 9>15);
// M22-M23-M33-M32 (6>16 8>19 11>18 7>18).
THandle<Motif> ExtendedRingMotifs::r4_sheet_shared_acceptor_type3() {
  return assemble("R4 sheet with shared acceptor type 3", "DDDDDDDDDDDDAAAAAAAA",
                  {{0, 12}, {1, 13}, {2, 14}, {3, 15}, {4, 5}, {5, 6}, {6, 7}, {8, 16}, {9, 17},
                   {10, 18}, {11, 19}},
                  {{0, 13}, {1, 14}, {3, 12}, {4, 13}, {5, 15}, {2, 16}, {6, 16}, {9, 15},
                   {7, 18}, {10, 17}, {8, 19}, {11, 18}},
                  {});
}

// Ten molecules in two fused six-molecule rings (ring A M1..M6, ring B M5 M7 M8 M9 M10 M6, sharing
// the M5-M6 bond); M1-M2, M3-M4, M7-M8 and M9-M10 are dimers closed by two hydrogen bonds, the
// other seven links single. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 15A 16A; M2 1D 2D 17A; M3 3D 18A 19A; M4 4D
// 5D 20A; M5 6D 7D 21A; M6 8D 22A 23A; M7 9D 24A 25A; M8 10D 11D 26A; M9 12D 27A 28A; M10 13D 14D
// 29A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>17 1>15); M3-M4
// (3>20 4>18); M7-M8 (9>26 10>24); M9-M10 (12>29 13>27); M1-M2-M3-M4-M5-M6 (0>17 1>15 2>19 3>20
// 4>18 5>21 6>22 8>16); M5-M6-M10-M9-M8-M7 (6>22 14>23 12>29 13>27 11>28 9>26 10>24 7>25).
// 22 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r6_net() {
  return assemble("R2R6 net", "DDDDDDDDDDDDDDDAAAAAAAAAAAAAAA",
                  {{0, 15}, {15, 16}, {1, 2}, {2, 17}, {3, 18}, {18, 19}, {4, 5}, {5, 20},
                   {6, 7}, {7, 21}, {8, 22}, {22, 23}, {9, 24}, {24, 25}, {10, 11}, {11, 26},
                   {12, 27}, {27, 28}, {13, 14}, {14, 29}},
                  {{0, 17}, {1, 15}, {2, 19}, {3, 20}, {4, 18}, {5, 21}, {8, 16}, {6, 22},
                   {7, 25}, {9, 26}, {10, 24}, {11, 28}, {14, 23}, {12, 29}, {13, 27}},
                  {{0, 3}, {0, 6}, {0, 13}, {1, 4}, {1, 8}, {3, 6}, {4, 8}, {4, 9}, {6, 10},
                   {6, 13}, {8, 9}, {8, 12}, {9, 12}, {10, 13}, {0, 4}, {0, 9}, {0, 12}, {1, 6},
                   {1, 13}, {3, 8}, {3, 9}, {4, 10}});
}

// Two fused six-molecule rings in which the dimers are M1-M2, M3-M4, M5-M6 (the pair shared by
// both rings) and M8-M9; the other seven links single. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 15A 16A; M2 1D 2D 17A; M3 3D 18A 19A; M4 4D
// 5D 20A; M5 6D 7D 21A 22A; M6 8D 9D 23A 24A; M7 10D 25A; M8 11D 26A 27A; M9 12D 13D 28A; M10 14D
// 29A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>17 1>15); M3-M4
// (3>20 4>18); M5-M6 (6>23 8>21); M8-M9 (11>28 12>26); M1-M2-M3-M4-M5-M6 (0>17 1>15 2>19 3>20 4>18
// 5>22 6>23 8>21 9>16); M5-M6-M10-M9-M8-M7 (6>23 8>21 14>24 13>29 11>28 12>26 10>27 7>25).
// 52 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r6_net_type2() {
  return assemble("R2R6 net type 2", "DDDDDDDDDDDDDDDAAAAAAAAAAAAAAA",
                  {{0, 15}, {15, 16}, {1, 2}, {2, 17}, {3, 18}, {18, 19}, {4, 5}, {5, 20},
                   {6, 7}, {7, 21}, {21, 22}, {8, 9}, {9, 23}, {23, 24}, {10, 25}, {11, 26},
                   {26, 27}, {12, 13}, {13, 28}, {14, 29}},
                  {{0, 17}, {1, 15}, {2, 19}, {3, 20}, {4, 18}, {5, 22}, {9, 16}, {6, 23},
                   {8, 21}, {7, 25}, {10, 27}, {11, 28}, {12, 26}, {14, 24}, {13, 29}},
                  {{0, 3}, {0, 6}, {0, 14}, {1, 4}, {1, 8}, {3, 6}, {4, 8}, {4, 10}, {6, 11},
                   {6, 14}, {8, 10}, {8, 12}, {10, 12}, {11, 14}, {0, 4}, {0, 10}, {0, 12},
                   {1, 6}, {1, 14}, {3, 8}, {3, 10}, {4, 11}, {4, 14}, {6, 12}, {8, 11},
                   {10, 14}, {0, 11}, {1, 10}, {1, 12}, {3, 11}, {3, 14}, {4, 12}, {1, 11},
                   {3, 12}, {16, 19}, {16, 22}, {16, 29}, {17, 20}, {17, 24}, {19, 22}, {20, 24},
                   {20, 25}, {22, 27}, {22, 29}, {24, 25}, {24, 28}, {25, 28}, {27, 29},
                   {16, 20}, {16, 25}, {16, 28}, {17, 22}});
}

// Two fused six-molecule rings (as r2r6_net) whose dimers are closed by one molecule donating
// through two donor groups to one acceptor of its partner: M2 to M1, M3 to M4, M5 to M6, M8 to M7.
// The single links land on acceptors that take two each (M5, M6, M9) or one (M2); M1, M4 and M7
// carry a second donor pointing out of the fragment.
// Molecules (group index, D donor, A acceptor): M1 0D 1D 18A; M2 2D 3D 19A; M3 4D 5D 6D; M4 7D 8D
// 20A; M5 9D 10D 21A; M6 22A 23A; M7 11D 12D 24A; M8 13D 14D 15D; M9 25A; M10 16D 17D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (2>18 3>18); M3-M4
// (4>20 5>20); M5-M6 (9>22 10>22); M7-M8 (13>24 14>24); M1-M2-M3-M4-M5-M6 (2>18 3>18 6>19 4>20
// 5>20 7>21 9>22 10>22 0>23); M5-M6-M10-M9-M8-M7 (9>22 10>22 16>23 17>25 15>25 13>24 14>24 11>21).
// 24 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r6_net_duel_donor() {
  return assemble("R2R6 net with duel donor", "DDDDDDDDDDDDDDDDDDAAAAAAAA",
                  {{0, 1}, {1, 18}, {2, 3}, {3, 19}, {4, 5}, {5, 6}, {7, 8}, {8, 20}, {9, 10},
                   {10, 21}, {22, 23}, {11, 12}, {12, 24}, {13, 14}, {14, 15}, {16, 17}},
                  {{2, 18}, {3, 18}, {6, 19}, {4, 20}, {5, 20}, {7, 21}, {0, 23}, {9, 22},
                   {10, 22}, {11, 21}, {13, 24}, {14, 24}, {15, 25}, {16, 23}, {17, 25}},
                  {{0, 4}, {0, 9}, {0, 16}, {2, 7}, {2, 22}, {4, 9}, {7, 22}, {7, 11}, {9, 13},
                   {9, 16}, {22, 11}, {22, 25}, {11, 25}, {13, 16}, {0, 7}, {0, 11}, {0, 25},
                   {2, 9}, {2, 16}, {4, 22}, {4, 11}, {7, 13}, {7, 16}, {9, 25}});
}

// The two fused rings of r2r6_net; each molecule has one donor, used for up to two hydrogen bonds,
// and one acceptor per bond received.
// Molecules (group index, D donor, A acceptor): M1 15D 0A 1A; M2 16D 2A; M3 17D 3A 4A; M4 18D 5A;
// M5 19D 6A; M6 20D 7A 8A; M7 21D 9A 10A; M8 22D 11A; M9 23D 12A 13A; M10 24D 14A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (15>2 16>0); M3-M4
// (17>5 18>3); M7-M8 (21>11 22>9); M9-M10 (23>14 24>12); M1-M2-M3-M4-M5-M6 (15>2 16>0 16>4 17>5
// 18>3 18>6 19>7 20>1); M5-M6-M10-M9-M8-M7 (19>7 24>8 23>14 24>12 22>13 21>11 22>9 19>10).
THandle<Motif> ExtendedRingMotifs::r2r6_net_shared_donor() {
  return assemble("R2R6 net with shared donor", "AAAAAAAAAAAAAAADDDDDDDDDD",
                  {{15, 0}, {0, 1}, {16, 2}, {17, 3}, {3, 4}, {18, 5}, {19, 6}, {20, 7}, {7, 8},
                   {21, 9}, {9, 10}, {22, 11}, {23, 12}, {12, 13}, {24, 14}},
                  {{15, 2}, {16, 0}, {16, 4}, {17, 5}, {18, 3}, {18, 6}, {20, 1}, {19, 7},
                   {19, 10}, {21, 11}, {22, 9}, {22, 13}, {24, 8}, {23, 14}, {24, 12}},
                  {});
}

// The two fused rings of r2r6_net; each molecule has one acceptor, taking up to two hydrogen
// bonds, and one donor per bond given.
// Molecules (group index, D donor, A acceptor): M1 10D 0A; M2 11D 12D 1A; M3 13D 2A; M4 14D 15D
// 3A; M5 16D 17D 4A; M6 18D 5A; M7 19D 6A; M8 20D 21D 7A; M9 22D 8A; M10 23D 24D 9A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (10>1 11>0); M3-M4
// (13>3 14>2); M7-M8 (19>7 20>6); M9-M10 (22>9 23>8); M1-M2-M3-M4-M5-M6 (10>1 11>0 12>2 13>3 14>2
// 15>4 16>5 18>0); M5-M6-M10-M9-M8-M7 (16>5 24>5 22>9 23>8 21>8 19>7 20>6 17>6).
THandle<Motif> ExtendedRingMotifs::r2r6_net_shared_acceptor() {
  return assemble("R2R6 net with shared acceptor", "AAAAAAAAAADDDDDDDDDDDDDDD",
                  {{10, 0}, {11, 12}, {12, 1}, {13, 2}, {14, 15}, {15, 3}, {16, 17}, {17, 4},
                   {18, 5}, {19, 6}, {20, 21}, {21, 7}, {22, 8}, {23, 24}, {24, 9}},
                  {{10, 1}, {11, 0}, {12, 2}, {13, 3}, {14, 2}, {15, 4}, {18, 0}, {16, 5},
                   {17, 6}, {19, 7}, {20, 6}, {21, 8}, {24, 5}, {22, 9}, {23, 8}},
                  {});
}

// The two fused rings of r2r6_net; each molecule has exactly one donor and one acceptor.
// Molecules (group index, D donor, A acceptor): M1 0D 10A; M2 1D 11A; M3 2D 12A; M4 3D 13A; M5 4D
// 14A; M6 5D 15A; M7 6D 16A; M8 7D 17A; M9 8D 18A; M10 9D 19A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>11 1>10); M3-M4
// (2>13 3>12); M7-M8 (6>17 7>16); M9-M10 (8>19 9>18); M1-M2-M3-M4-M5-M6 (0>11 1>10 1>12 2>13 3>12
// 3>14 4>15 5>10); M5-M6-M10-M9-M8-M7 (4>15 9>15 8>19 9>18 7>18 6>17 7>16 4>16).
THandle<Motif> ExtendedRingMotifs::r2r6_net_shared_donor_and_acceptor() {
  return assemble("R2R6 net with shared donor and acceptor", "DDDDDDDDDDAAAAAAAAAA",
                  {{0, 10}, {1, 11}, {2, 12}, {3, 13}, {4, 14}, {5, 15}, {6, 16}, {7, 17},
                   {8, 18}, {9, 19}},
                  {{0, 11}, {1, 10}, {1, 12}, {2, 13}, {3, 12}, {3, 14}, {5, 10}, {4, 15},
                   {4, 16}, {6, 17}, {7, 16}, {7, 18}, {9, 15}, {8, 19}, {9, 18}},
                  {});
}

// The two fused rings of r2r6_net_type2; the shared dimer M5-M6 and M2 use one donor for two
// bonds, M5, M6 and M8 one acceptor for two bonds; the others one group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 12A 13A; M2 1D 14A; M3 2D 15A 16A; M4 3D 4D
// 17A; M5 5D 18A; M6 6D 19A; M7 7D 20A; M8 8D 21A; M9 9D 10D 22A; M10 11D 23A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>14 1>12); M3-M4
// (2>17 3>15); M5-M6 (5>19 6>18); M8-M9 (8>22 9>21); M1-M2-M3-M4-M5-M6 (0>14 1>12 1>16 2>17 3>15
// 4>18 5>19 6>18 6>13); M5-M6-M10-M9-M8-M7 (5>19 6>18 11>19 10>23 8>22 9>21 7>21 5>20).
// 18 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r6_net_shared_donor_and_acceptor_type2() {
  return assemble("R2R6 net with shared donor and acceptor type 2", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 12}, {12, 13}, {1, 14}, {2, 15}, {15, 16}, {3, 4}, {4, 17}, {5, 18},
                   {6, 19}, {7, 20}, {8, 21}, {9, 10}, {10, 22}, {11, 23}},
                  {{0, 14}, {1, 12}, {1, 16}, {2, 17}, {3, 15}, {4, 18}, {6, 13}, {5, 19},
                   {6, 18}, {5, 20}, {7, 21}, {8, 22}, {9, 21}, {11, 19}, {10, 23}},
                  {{0, 2}, {0, 5}, {0, 11}, {1, 3}, {1, 6}, {2, 5}, {3, 6}, {3, 7}, {5, 8},
                   {5, 11}, {6, 7}, {6, 9}, {7, 9}, {8, 11}, {0, 3}, {0, 7}, {0, 9}, {1, 5}});
}

// The two fused rings of r2r6_net in which the molecules of ring A share groups (M2, M4 and M5 one
// donor each, M1, M3 and M6 one acceptor each) and those of ring B keep one group per hydrogen
// bond.
// Molecules (group index, D donor, A acceptor): M1 0D 12A; M2 1D 13A; M3 2D 14A; M4 3D 15A; M5 4D
// 16A; M6 5D 17A; M7 6D 18A 19A; M8 7D 8D 20A; M9 9D 21A 22A; M10 10D 11D 23A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2 (0>13 1>12); M3-M4
// (2>15 3>14); M7-M8 (6>20 7>18); M9-M10 (9>23 10>21); M1-M2-M3-M4-M5-M6 (0>13 1>12 1>14 2>15 3>14
// 3>16 4>17 5>12); M5-M6-M10-M9-M8-M7 (4>17 11>17 9>23 10>21 8>22 6>20 7>18 4>19).
// 11 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r6_net_likcen() {
  return assemble("R2R6 net LICKEN", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 12}, {1, 13}, {2, 14}, {3, 15}, {4, 16}, {5, 17}, {6, 18}, {18, 19},
                   {7, 8}, {8, 20}, {9, 21}, {21, 22}, {10, 11}, {11, 23}},
                  {{0, 13}, {1, 12}, {1, 14}, {2, 15}, {3, 14}, {3, 16}, {5, 12}, {4, 17},
                   {4, 19}, {6, 20}, {7, 18}, {8, 22}, {11, 17}, {9, 23}, {10, 21}},
                  {{0, 2}, {0, 4}, {0, 10}, {1, 3}, {1, 5}, {2, 4}, {3, 5}, {3, 6}, {4, 7},
                   {4, 10}, {5, 6}});
}

// The ladder with rails in opposite directions, as primary amides form it: each molecule has one
// donor and one acceptor, each in one dimer bond and one rail bond.
// Molecules (group index, D donor, A acceptor): a1 0D 8A; b1 1D 9A; a2 2D 10A; b2 3D 11A; a3 4D
// 12A; b3 5D 13A; a4 6D 14A; b4 7D 15A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>9 1>8); a2-b2
// (2>11 3>10); a3-b3 (4>13 5>12); a4-b4 (6>15 7>14); a1-b1-b2-a2 (0>9 1>8 3>9 2>11 3>10 0>10);
// a2-b2-b3-a3 (2>11 3>10 5>11 4>13 5>12 2>12); a3-b3-b4-a4 (4>13 5>12 7>13 6>15 7>14 4>14).
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_shared_donor_and_acceptor() {
  return assemble("R2R4 ladder with shared donor and acceptor", "DDDDDDDDAAAAAAAA",
                  {{0, 8}, {1, 9}, {2, 10}, {3, 11}, {4, 12}, {5, 13}, {6, 14}, {7, 15}},
                  {{0, 9}, {1, 8}, {0, 10}, {3, 9}, {2, 11}, {3, 10}, {2, 12}, {5, 11}, {4, 13},
                   {5, 12}, {4, 14}, {7, 13}, {6, 15}, {7, 14}},
                  {});
}

// The ladder with rails in opposite directions; each molecule has one acceptor for the dimer bond
// and the rail bond it receives, and one donor per bond given.
// Molecules (group index, D donor, A acceptor): a1 0D 1D 14A; b1 2D 15A; a2 3D 4D 16A; b2 5D 6D
// 17A; a3 7D 8D 18A; b3 9D 10D 19A; a4 11D 20A; b4 12D 13D 21A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>15 2>14); a2-b2
// (3>17 5>16); a3-b3 (7>19 9>18); a4-b4 (11>21 12>20); a1-b1-b2-a2 (0>15 2>14 6>15 3>17 5>16
// 1>16); a2-b2-b3-a3 (3>17 5>16 10>17 7>19 9>18 4>18); a3-b3-b4-a4 (7>19 9>18 13>19 11>21 12>20
// 8>20).
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_shared_acceptor() {
  return assemble("R2R4 ladder shared acceptor", "DDDDDDDDDDDDDDAAAAAAAA",
                  {{0, 1}, {1, 14}, {2, 15}, {3, 4}, {4, 16}, {5, 6}, {6, 17}, {7, 8}, {8, 18},
                   {9, 10}, {10, 19}, {11, 20}, {12, 13}, {13, 21}},
                  {{0, 15}, {2, 14}, {1, 16}, {6, 15}, {3, 17}, {5, 16}, {4, 18}, {10, 17},
                   {7, 19}, {9, 18}, {8, 20}, {13, 19}, {11, 21}, {12, 20}},
                  {});
}

// The ladder with rails in opposite directions; each molecule has one donor for its dimer bond and
// its rail bond, and one acceptor per bond received.
// Molecules (group index, D donor, A acceptor): a1 0D 8A; b1 1D 9A 10A; a2 2D 11A 12A; b2 3D 13A
// 14A; a3 4D 15A 16A; b3 5D 17A 18A; a4 6D 19A 20A; b4 7D 21A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>9 1>8); a2-b2
// (2>13 3>11); a3-b3 (4>17 5>15); a4-b4 (6>21 7>19); a1-b1-b2-a2 (0>9 1>8 3>10 2>13 3>11 0>12);
// a2-b2-b3-a3 (2>13 3>11 5>14 4>17 5>15 2>16); a3-b3-b4-a4 (4>17 5>15 7>18 6>21 7>19 4>20).
// 8 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other apart,
// the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_shared_donor() {
  return assemble("R2R4 ladder with shared donor", "DDDDDDDDAAAAAAAAAAAAAA",
                  {{0, 8}, {1, 9}, {9, 10}, {2, 11}, {11, 12}, {3, 13}, {13, 14}, {4, 15},
                   {15, 16}, {5, 17}, {17, 18}, {6, 19}, {19, 20}, {7, 21}},
                  {{0, 9}, {1, 8}, {0, 12}, {3, 10}, {2, 13}, {3, 11}, {2, 16}, {5, 14}, {4, 17},
                   {5, 15}, {4, 20}, {7, 18}, {6, 21}, {7, 19}},
                  {{0, 3}, {0, 4}, {1, 2}, {1, 5}, {2, 5}, {2, 6}, {3, 4}, {3, 7}});
}

// A ladder of four dimers (a_i, b_i), each closed by two hydrogen bonds both ways; the rails run
// in opposite directions (a_i to a_i+1, b_i+1 to b_i) and close the four-molecule rings between
// dimers. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): a1 0D 1D 14A; b1 2D 15A 16A; a2 3D 4D 17A 18A; b2
// 5D 6D 19A 20A; a3 7D 8D 21A 22A; b3 9D 10D 23A 24A; a4 11D 25A 26A; b4 12D 13D 27A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>15 2>14); a2-b2
// (3>19 5>17); a3-b3 (7>23 9>21); a4-b4 (11>27 12>25); a1-b1-b2-a2 (0>15 2>14 6>16 3>19 5>17
// 1>18); a2-b2-b3-a3 (3>19 5>17 10>20 7>23 9>21 4>22); a3-b3-b4-a4 (7>23 9>21 13>24 11>27 12>25
// 8>26).
// 16 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r4_ladder() {
  return assemble("R2R4 ladder", "DDDDDDDDDDDDDDAAAAAAAAAAAAAA",
                  {{0, 1}, {1, 14}, {2, 15}, {15, 16}, {3, 4}, {4, 17}, {17, 18}, {5, 6},
                   {6, 19}, {19, 20}, {7, 8}, {8, 21}, {21, 22}, {9, 10}, {10, 23}, {23, 24},
                   {11, 25}, {25, 26}, {12, 13}, {13, 27}},
                  {{0, 15}, {2, 14}, {1, 18}, {6, 16}, {3, 19}, {5, 17}, {4, 22}, {10, 20},
                   {7, 23}, {9, 21}, {8, 26}, {13, 24}, {11, 27}, {12, 25}},
                  {{0, 5}, {0, 7}, {2, 3}, {2, 9}, {3, 9}, {3, 11}, {5, 7}, {5, 12}, {7, 12},
                   {9, 11}, {0, 9}, {0, 11}, {2, 7}, {2, 12}, {3, 12}, {5, 11}});
}

// The ladder of four dimers with both rails running the same way (a_i to a_i+1, b_i to b_i+1). One
// group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): a1 0D 1D 14A; b1 2D 3D 15A; a2 4D 5D 16A 17A; b2
// 6D 7D 18A 19A; a3 8D 9D 20A 21A; b3 10D 11D 22A 23A; a4 12D 24A 25A; b4 13D 26A 27A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>15 2>14); a2-b2
// (4>18 6>16); a3-b3 (8>22 10>20); a4-b4 (12>26 13>24); a1-b1-b2-a2 (0>15 2>14 3>19 4>18 6>16
// 1>17); a2-b2-b3-a3 (4>18 6>16 7>23 8>22 10>20 5>21); a3-b3-b4-a4 (8>22 10>20 11>27 12>26 13>24
// 9>25).
// 17 long-range contacts keep groups of molecules that are not hydrogen-bonded to each other
// apart, the nearest such pairs of molecules first.
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_type2() {
  return assemble("R2R4 ladder type2", "DDDDDDDDDDDDDDAAAAAAAAAAAAAA",
                  {{0, 1}, {1, 14}, {2, 3}, {3, 15}, {4, 5}, {5, 16}, {16, 17}, {6, 7}, {7, 18},
                   {18, 19}, {8, 9}, {9, 20}, {20, 21}, {10, 11}, {11, 22}, {22, 23}, {12, 24},
                   {24, 25}, {13, 26}, {26, 27}},
                  {{0, 15}, {2, 14}, {1, 17}, {3, 19}, {4, 18}, {6, 16}, {5, 21}, {7, 23},
                   {8, 22}, {10, 20}, {9, 25}, {11, 27}, {12, 26}, {13, 24}},
                  {{0, 6}, {0, 8}, {2, 4}, {2, 10}, {4, 10}, {4, 12}, {6, 8}, {6, 13}, {8, 13},
                   {10, 12}, {0, 10}, {0, 12}, {2, 8}, {2, 13}, {4, 13}, {6, 12}, {0, 13}});
}

// The ladder with both rails running the same way; each molecule has one donor and one acceptor,
// each in one dimer bond and one rail bond.
// Molecules (group index, D donor, A acceptor): a1 0D 8A; b1 1D 9A; a2 2D 10A; b2 3D 11A; a3 4D
// 12A; b3 5D 13A; a4 6D 14A; b4 7D 15A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): a1-b1 (0>9 1>8); a2-b2
// (2>11 3>10); a3-b3 (4>13 5>12); a4-b4 (6>15 7>14); a1-b1-b2-a2 (0>9 1>8 1>11 2>11 3>10 0>10);
// a2-b2-b3-a3 (2>11 3>10 3>13 4>13 5>12 2>12); a3-b3-b4-a4 (4>13 5>12 5>15 6>15 7>14 4>14).
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_shared_donor_and_acceptor_type2() {
  return assemble("R2R4 ladder with shared donor and acceptor type 2", "DDDDDDDDAAAAAAAA",
                  {{0, 8}, {1, 9}, {2, 10}, {3, 11}, {4, 12}, {5, 13}, {6, 14}, {7, 15}},
                  {{0, 9}, {1, 8}, {0, 10}, {1, 11}, {2, 11}, {3, 10}, {2, 12}, {3, 13}, {4, 13},
                   {5, 12}, {4, 14}, {5, 15}, {6, 15}, {7, 14}},
                  {});
}

// A two-component ladder of donor molecules X_i and acceptor molecules Y_i: X_i gives two hydrogen
// bonds through two donors to the single acceptor of Y_i (the two-molecule ring), and further
// donors of X_i reach Y_i-1 and Y_i+1, closing four-molecule rings X_i Y_i+1 X_i+1 Y_i. X4 carries
// one more donor pointing out of the fragment.
// Molecules (group index, D donor, A acceptor): X1 0D 1D 2D; Y1 15A; X2 3D 4D 5D 6D; Y2 16A; X3 7D
// 8D 9D 10D; Y3 17A; X4 11D 12D 13D 14D; Y4 18A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): X1-Y1 (0>15 1>15); X2-Y2
// (3>16 4>16); X3-Y3 (7>17 8>17); X4-Y4 (11>18 12>18); X1-Y1-X2-Y2 (0>15 1>15 5>15 3>16 4>16
// 2>16); X2-Y2-X3-Y3 (3>16 4>16 9>16 7>17 8>17 6>17); X3-Y3-X4-Y4 (7>17 8>17 13>17 11>18 12>18
// 10>18).
THandle<Motif> ExtendedRingMotifs::r2r4_ladder_wuhnui() {
  return assemble("R2R4 ladder WUHNUI", "DDDDDDDDDDDDDDDAAAA",
                  {{0, 1}, {1, 2}, {3, 4}, {4, 5}, {5, 6}, {7, 8}, {8, 9}, {9, 10}, {11, 12},
                   {12, 13}, {13, 14}},
                  {{0, 15}, {1, 15}, {5, 15}, {2, 16}, {3, 16}, {4, 16}, {9, 16}, {6, 17},
                   {7, 17}, {8, 17}, {13, 17}, {10, 18}, {11, 18}, {12, 18}},
                  {});
}

// The 3 x 3 block in which every four-molecule ring is cyclic, the rings alternating clockwise and
// anticlockwise like a chessboard, so two kinds of R4 ring share each edge. One group per hydrogen
// bond.
// Molecules (group index, D donor, A acceptor): M11 0D 12A; M12 1D 13A 14A; M13 2D 15A; M21 3D 4D
// 16A; M22 5D 6D 17A 18A; M23 7D 8D 19A; M31 9D 20A; M32 10D 21A 22A; M33 11D 23A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M11-M12-M22-M21 (0>13
// 1>17 5>16 3>12); M12-M13-M23-M22 (2>14 7>15 6>19 1>17); M21-M22-M32-M31 (5>16 10>18 9>21 4>20);
// M22-M23-M33-M32 (6>19 8>23 11>22 10>18).
THandle<Motif> ExtendedRingMotifs::r4r4_net() {
  return assemble("R4R4 net", "DDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 12}, {1, 13}, {13, 14}, {2, 15}, {3, 4}, {4, 16}, {5, 6}, {6, 17},
                   {17, 18}, {7, 8}, {8, 19}, {9, 20}, {10, 21}, {21, 22}, {11, 23}},
                  {{0, 13}, {2, 14}, {3, 12}, {1, 17}, {5, 16}, {7, 15}, {6, 19}, {4, 20},
                   {10, 18}, {9, 21}, {8, 23}, {11, 22}},
                  {});
}

// Thirteen molecules around a central molecule C that donates to S1..S4; the rings C S1 X S2 and C
// S3 Z S4 have four molecules, C S2 Y1 Y2 Y3 S3 and C S4 W1 W2 W3 S1 six, alternating round C. X,
// Z, Y2 and W2 take two hydrogen bonds on one acceptor; every other acceptor takes one, and every
// hydrogen bond has its own donor.
// Molecules (group index, D donor, A acceptor): C 0D 1D 2D 3D; S1 4D 5D 16A; S2 6D 7D 17A; S3 8D
// 9D 18A; S4 10D 11D 19A; X 20A; Z 21A; Y1 12D 22A; Y2 23A; Y3 13D 24A; W1 14D 25A; W2 26A; W3 15D
// 27A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): C-S1-X-S2 (0>16 4>20 6>20
// 1>17); C-S3-Z-S4 (2>18 8>21 10>21 3>19); C-S1-W3-W2-W1-S4 (0>16 5>27 15>26 14>26 11>25 3>19);
// C-S2-Y1-Y2-Y3-S3 (1>17 7>22 12>23 13>23 9>24 2>18).
THandle<Motif> ExtendedRingMotifs::r4r6_net_shared_acceptor() {
  return assemble("R4R6 motif with shared acceptor", "DDDDDDDDDDDDDDDDAAAAAAAAAAAA",
                  {{0, 1}, {1, 2}, {2, 3}, {4, 5}, {5, 16}, {6, 7}, {7, 17}, {8, 9}, {9, 18},
                   {10, 11}, {11, 19}, {12, 22}, {13, 24}, {14, 25}, {15, 27}},
                  {{0, 16}, {1, 17}, {4, 20}, {6, 20}, {2, 18}, {3, 19}, {8, 21}, {10, 21},
                   {7, 22}, {12, 23}, {9, 24}, {13, 23}, {11, 25}, {14, 26}, {5, 27}, {15, 26}},
                  {});
}

// The strip with molecules that donate through two separate donor groups to two different
// neighbours (M1, M4, M6, and M2 whose second donor points out of the fragment); the acceptors
// take two hydrogen bonds each, the one of M3 three.
// Molecules (group index, D donor, A acceptor): M1 0D 1D; M2 2D 10A 3D; M3 4D 11A; M4 5D 6D 12A;
// M5 7D 13A; M6 8D 9D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>10 2>11
// 1>11); M2-M3-M4 (2>11 4>12 5>10); M3-M4-M5 (4>12 6>13 7>11); M4-M5-M6 (6>13 9>13 8>12).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_duel_donor() {
  return assemble("R3 ribbon with duel donor", "DDDDDDDDDDAAAA",
                  {{0, 1}, {2, 10}, {10, 3}, {4, 11}, {5, 6}, {6, 12}, {7, 13}, {8, 9}},
                  {{0, 10}, {1, 11}, {2, 11}, {5, 10}, {4, 12}, {7, 11}, {6, 13}, {8, 12},
                   {9, 13}},
                  {});
}

// The strip with every hydrogen bond pointing along it; each molecule after the first has one
// acceptor, which takes the hydrogen bonds of both earlier neighbours.
// Molecules (group index, D donor, A acceptor): M1 5D 6D; M2 7D 8D 0A; M3 9D 10D 1A; M4 11D 12D
// 2A; M5 13D 3A; M6 4A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (5>0 7>1 6>1);
// M2-M3-M4 (7>1 9>2 8>2); M3-M4-M5 (9>2 11>3 10>3); M4-M5-M6 (11>3 13>4 12>4).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_shared_acceptor() {
  return assemble("R3 ribbon with shared acceptor", "AAAAADDDDDDDDD",
                  {{5, 6}, {7, 8}, {8, 0}, {9, 10}, {10, 1}, {11, 12}, {12, 2}, {13, 3}},
                  {{5, 0}, {7, 1}, {6, 1}, {8, 2}, {9, 2}, {10, 3}, {11, 3}, {12, 4}, {13, 4}},
                  {});
}

// The strip with every hydrogen bond pointing back along it; each molecule after the first has one
// donor, which gives hydrogen bonds to both earlier neighbours.
// Molecules (group index, D donor, A acceptor): M1 5A 6A; M2 0D 7A 8A; M3 1D 9A 10A; M4 2D 11A
// 12A; M5 3D 13A; M6 4D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>5 1>7 1>6);
// M2-M3-M4 (1>7 2>9 2>8); M3-M4-M5 (2>9 3>11 3>10); M4-M5-M6 (3>11 4>13 4>12).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_shared_donor() {
  return assemble("R3 ribbon with shared donor", "DDDDDAAAAAAAAA",
                  {{5, 6}, {0, 7}, {7, 8}, {1, 9}, {9, 10}, {2, 11}, {11, 12}, {3, 13}},
                  {{0, 5}, {1, 7}, {1, 6}, {2, 8}, {2, 9}, {3, 10}, {3, 11}, {4, 12}, {4, 13}},
                  {});
}

// A strip of four three-molecule rings around a central molecule (M3) with four acceptors, one for
// each neighbour; every other molecule has one donor shared by its two hydrogen bonds where it
// makes two.
// Molecules (group index, D donor, A acceptor): M1 0D; M2 1D 5A; M3 6A 7A 8A 9A; M4 2D 10A 11A; M5
// 3D 12A; M6 4D 13A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>5 1>7 0>6);
// M2-M3-M4 (1>7 2>8 1>10); M3-M4-M5 (2>8 2>12 3>9); M4-M5-M6 (2>12 3>13 4>11).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_amfurz() {
  return assemble("R3 ribbon AMFURZ", "DDDDDAAAAAAAAA",
                  {{1, 5}, {6, 7}, {7, 8}, {8, 9}, {2, 10}, {10, 11}, {3, 12}, {4, 13}},
                  {{0, 5}, {0, 6}, {1, 7}, {1, 10}, {2, 8}, {3, 9}, {2, 12}, {4, 11}, {3, 13}},
                  {});
}

// Six molecules whose groups are all donors, as hydroxyl groups that both give and take hydrogen
// bonds: each group donates at most once, and every ring of three is cyclic.
// Molecules (group index, D donor, A acceptor): M1 0D; M2 1D 2D; M3 3D 4D; M4 5D 6D; M5 7D 8D; M6
// 9D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>1 1>3 3>0);
// M2-M3-M4 (1>3 4>5 5>2); M3-M4-M5 (4>5 6>7 7>4); M4-M5-M6 (6>7 8>9 9>6).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_just_donors() {
  return assemble("R3 ribbon just donors", "DDDDDDDDDD",
                  {{1, 2}, {3, 4}, {5, 6}, {7, 8}},
                  {{0, 1}, {3, 0}, {1, 3}, {5, 2}, {4, 5}, {7, 4}, {6, 7}, {9, 6}, {8, 9}},
                  {});
}

// The strip with every hydrogen bond pointing along it; each molecule has at most one donor and
// one acceptor, each taking part in up to two hydrogen bonds.
// Molecules (group index, D donor, A acceptor): M1 0D; M2 1D 5A; M3 2D 6A; M4 3D 7A; M5 4D 8A; M6
// 9A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>5 1>6 0>6);
// M2-M3-M4 (1>6 2>7 1>7); M3-M4-M5 (2>7 3>8 2>8); M4-M5-M6 (3>8 4>9 3>9).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_shared_donor_and_acceptor() {
  return assemble("R3 ribbon with shared donor and acceptor", "DDDDDAAAAA",
                  {{1, 5}, {2, 6}, {3, 7}, {4, 8}},
                  {{0, 5}, {0, 6}, {1, 6}, {1, 7}, {2, 7}, {2, 8}, {3, 8}, {3, 9}, {4, 9}},
                  {});
}

// The same strip of four three-molecule rings, every hydrogen bond pointing along the strip (from
// the earlier to the later molecule), so no ring is cyclic. One group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 1D; M2 2D 3D 9A; M3 4D 5D 10A 11A; M4 6D 7D
// 12A 13A; M5 8D 14A 15A; M6 16A 17A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>9 2>11 1>10);
// M2-M3-M4 (2>11 4>13 3>12); M3-M4-M5 (4>13 6>15 5>14); M4-M5-M6 (6>15 8>17 7>16).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_type2() {
  return assemble("R3 ribbon type 2", "DDDDDDDDDAAAAAAAAA",
                  {{0, 1}, {2, 3}, {3, 9}, {4, 5}, {5, 10}, {10, 11}, {6, 7}, {7, 12}, {12, 13},
                   {8, 14}, {14, 15}, {16, 17}},
                  {{0, 9}, {1, 10}, {2, 11}, {3, 12}, {4, 13}, {5, 14}, {6, 15}, {7, 16},
                   {8, 17}},
                  {});
}

// The strip with the end molecules and M3, M4 donating through two donor groups each, M5 carrying
// a second donor that points out of the fragment; M2 has one acceptor for three hydrogen bonds,
// the others one acceptor for two.
// Molecules (group index, D donor, A acceptor): M1 0D 1D; M2 10A; M3 2D 3D 11A; M4 4D 5D 12A; M5
// 6D 13A 7D; M6 8D 9D.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>10 2>10
// 1>11); M2-M3-M4 (2>10 3>12 4>10); M3-M4-M5 (3>12 5>13 6>11); M4-M5-M6 (5>13 9>13 8>12).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_duel_donor_type2() {
  return assemble("R3 ribbon with duel donor type 2", "DDDDDDDDDDAAAA",
                  {{0, 1}, {2, 3}, {3, 11}, {4, 5}, {5, 12}, {6, 13}, {13, 7}, {8, 9}},
                  {{0, 10}, {1, 11}, {2, 10}, {4, 10}, {3, 12}, {6, 11}, {5, 13}, {8, 12},
                   {9, 13}},
                  {});
}

// The strip of cyclic three-molecule rings; the two middle molecules (M3, M4) each have one donor
// and one acceptor used twice, the others one group per hydrogen bond.
// Molecules (group index, D donor, A acceptor): M1 0D 7A; M2 1D 8A 9A; M3 2D 10A; M4 3D 11A; M5 4D
// 5D 12A; M6 6D 13A.
// Rings (molecules in ring order, then the hydrogen bonds joining them): M1-M2-M3 (0>8 1>10 2>7);
// M2-M3-M4 (1>10 2>11 3>9); M3-M4-M5 (2>11 3>12 4>10); M4-M5-M6 (3>12 5>13 6>11).
THandle<Motif> ExtendedRingMotifs::r3_ribbon_shared_donor_and_acceptor_type2() {
  return assemble("R3 ribbon with shared donor and acceptor type2", "DDDDDDDAAAAAAA",
                  {{0, 7}, {1, 8}, {8, 9}, {2, 10}, {3, 11}, {4, 5}, {5, 12}, {6, 13}},
                  {{0, 8}, {2, 7}, {1, 10}, {3, 9}, {2, 11}, {4, 10}, {3, 12}, {6, 11}, {5, 13}},
                  {});
}
// clang-format on

// ---------------------------------------------------------------------------------------------
// Catalogue and census

std::vector<std::pair<std::string, ExtendedRingMotifs::Builder>> ExtendedRingMotifs::catalog() {
  const std::vector<Builder> builders = {
      &ExtendedRingMotifs::r2_ribbon,
      &ExtendedRingMotifs::r2_ribbon_shared_acceptor,
      &ExtendedRingMotifs::r2_ribbon_shared_donor,
      &ExtendedRingMotifs::r2_ribbon_acapre,
      &ExtendedRingMotifs::r3_ribbon,
      &ExtendedRingMotifs::r4_net_type1,
      &ExtendedRingMotifs::r4_net_type2,
      &ExtendedRingMotifs::r4_sheet_shared_donor,
      &ExtendedRingMotifs::r4_sheet_shared_donor_type2,
      &ExtendedRingMotifs::r4_sheet_shared_acceptor,
      &ExtendedRingMotifs::r4_sheet_duel_donor,
      &ExtendedRingMotifs::r4_sheet_shared_donor_and_acceptor,
      &ExtendedRingMotifs::r4_sheet_type3,
      &ExtendedRingMotifs::r4_sheet_shared_acceptor_type2,
      &ExtendedRingMotifs::r4_sheet_shared_donor_type3,
      &ExtendedRingMotifs::r4_sheet_shared_acceptor_type4,
      &ExtendedRingMotifs::r4_sheet_duel_donor_type2,
      &ExtendedRingMotifs::r4_sheet_shared_acceptor_type3,
      &ExtendedRingMotifs::r2r6_net,
      &ExtendedRingMotifs::r2r6_net_type2,
      &ExtendedRingMotifs::r2r6_net_duel_donor,
      &ExtendedRingMotifs::r2r6_net_shared_donor,
      &ExtendedRingMotifs::r2r6_net_shared_acceptor,
      &ExtendedRingMotifs::r2r6_net_shared_donor_and_acceptor,
      &ExtendedRingMotifs::r2r6_net_shared_donor_and_acceptor_type2,
      &ExtendedRingMotifs::r2r6_net_likcen,
      &ExtendedRingMotifs::r2r4_ladder_shared_donor_and_acceptor,
      &ExtendedRingMotifs::r2r4_ladder_shared_acceptor,
      &ExtendedRingMotifs::r2r4_ladder_shared_donor,
      &ExtendedRingMotifs::r2r4_ladder,
      &ExtendedRingMotifs::r2r4_ladder_type2,
      &ExtendedRingMotifs::r2r4_ladder_shared_donor_and_acceptor_type2,
      &ExtendedRingMotifs::r2r4_ladder_wuhnui,
      &ExtendedRingMotifs::r4r4_net,
      &ExtendedRingMotifs::r4r6_net_shared_acceptor,
      &ExtendedRingMotifs::r3_ribbon_duel_donor,
      &ExtendedRingMotifs::r3_ribbon_shared_acceptor,
      &ExtendedRingMotifs::r3_ribbon_shared_donor,
      &ExtendedRingMotifs::r3_ribbon_amfurz,
      &ExtendedRingMotifs::r3_ribbon_just_donors,
      &ExtendedRingMotifs::r3_ribbon_shared_donor_and_acceptor,
      &ExtendedRingMotifs::r3_ribbon_type2,
      &ExtendedRingMotifs::r3_ribbon_duel_donor_type2,
      &ExtendedRingMotifs::r3_ribbon_shared_donor_and_acceptor_type2};
  std::vector<std::pair<std::string, Builder>> all;
  all.reserve(builders.size());
  for (Builder b : builders)
    all.emplace_back(b()->name(), b);
  return all;
}

#ifndef XTALMOTIF_ACCEPTORS_DONORS_FILE
#define XTALMOTIF_ACCEPTORS_DONORS_FILE "xtalmotif_acceptors_donors.txt"
#endif

std::string ExtendedRingMotifs::acceptors_donors_path() { return XTALMOTIF_ACCEPTORS_DONORS_FILE; }

void ExtendedRingMotifs::count_acceptors_donors(
    const Database<CrystalStructureDatabaseEntry> &database) {
  // An unwritable file leaves the stream failed; every write below is then ignored.
  std::ofstream out(acceptors_donors_path());
  using P = PreDefinedSubstructures;
  const P::GenerationOptions plain{false, false, false};
  const std::vector<std::pair<const char *, THandle<MotifSubstructure>>> groups = {
      {"OH1", P::make_oh1(plain)}, {"OH2", P::make_oh2(plain)}, {"NH1", P::make_nh1(plain)},
      {"NH2", P::make_nh2(plain)}, {"NH3", P::make_nh3(plain)}, {"O", P::make_o()},
      {"N", P::make_n()}};

  out << "identifier";
  for (const auto &g : groups)
    out << '\t' << g.first;
  out << '\n';
  const SubstructureSearch search;
  for (int i = 0; i < database.nentries(); ++i) {
    THandle<CrystalStructureDatabaseEntry> entry = database.entry(i);
    out << entry->identifier().str();
    THandle<CrystalMaker> crystal;
    try {
      crystal = entry->crystal();
    } catch (const CifError &e) {
      out << "\tunreadable: " << e.what() << '\n';
      continue;
    }
    if (crystal->nmolecules() == 0) {
      out << "\tno molecules\n";
      continue;
    }
    THandle<Molecule> molecule = crystal->molecule(0);
    for (const auto &g : groups)
      out << '\t' << search.search(*g.second, *molecule, {}).size();
    out << '\n';
  }
}

} // namespace xtalmotif
