#include "library/water_motifs.h"

#include "chem/condition.h"
#include "chem/element.h"
#include "chem/substructure.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace xtalmotif {

namespace {

using CriterionMaker = THandle<CombinedCriterion> (*)();
using Pairs = std::initializer_list<std::pair<int, int>>;

/// A fresh criterion of the shape every water contact starts from; the caller then sets its
/// limits.
THandle<CombinedCriterion> base_criterion(bool vdw_relative) {
  auto crit =
      make_handle<CombinedCriterion>(vdw_relative, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                                     make_handle<ElementSet>(), make_handle<ElementSet>());
  crit->set_contact_type(ContactType::Inter);
  return crit;
}

THandle<CombinedCriterion> long_criterion(double upper) {
  auto crit = base_criterion(false);
  crit->set_upper(upper);
  // Two water oxygens closer than 3.34 A would be hydrogen-bonded (or the same water); a pair
  // meant to be unbonded must stay beyond that.
  crit->set_lower(3.34);
  return crit;
}

/// A new motif holding the same water fragment `n` times, as waters 0 to n - 1.
THandle<Motif> waters(const std::string &name, int n, const THandle<MotifSubstructure> &water) {
  auto motif = make_handle<Motif>(name);
  for (int i = 0; i < n; ++i)
    motif->add_substructure(water);
  return motif;
}

/// Joins oxygen (atom 0) of water `a` to oxygen of water `b`, with a fresh criterion.
void link(Motif &motif, int a, int b, CriterionMaker crit) {
  motif.add_contact(make_handle<MotifContact>(a, 0, b, 0, crit()));
}

void link_all(Motif &motif, Pairs pairs, CriterionMaker crit) {
  for (const auto &p : pairs)
    link(motif, p.first, p.second, crit);
}

/// Hydrogen bonds k -> k + 1 along waters first .. last.
void hbond_path(Motif &motif, int first, int last) {
  for (int k = first; k < last; ++k)
    link(motif, k, k + 1, &WaterMotifs::hbond_crit);
}

/// Every pair i < j not yet joined by any contact, in increasing order, with `crit`.
void join_unlinked_pairs(Motif &motif, CriterionMaker crit) {
  const int n = motif.nsubstructures();
  for (int i = 0; i + 1 < n; ++i)
    for (int j = i + 1; j < n; ++j)
      if (motif.motif_contact(i, j) == -1)
        link(motif, i, j, crit);
}

/// A hydrogen-bonded ring of twelve waters, 0 .. 11, closed by 11 -> 0.
void dodecamer_ring(Motif &motif) {
  hbond_path(motif, 0, 11);
  link(motif, 11, 0, &WaterMotifs::hbond_crit);
}

/// Two dodecamer rings: the ring 0 .. 11 and a path start -> 12 -> ... -> n-1 -> end of new
/// waters, which closes the second ring through the shared waters start .. end.
THandle<Motif> two_dodecamers(const std::string &name, int nwaters, int start, int end) {
  auto motif = waters(name, nwaters, WaterMotifs::make_water());
  dodecamer_ring(*motif);
  link(*motif, start, 12, &WaterMotifs::hbond_crit);
  hbond_path(*motif, 12, nwaters - 1);
  link(*motif, nwaters - 1, end, &WaterMotifs::hbond_crit);
  WaterMotifs::add_water_cross_connections(motif);
  return motif;
}

/// A ring of `n` waters 0 .. n-1 closed by n-1 -> 0, as the fixed rings are written.
void closed_ring(Motif &motif, int n) {
  hbond_path(motif, 0, n - 1);
  link(motif, n - 1, 0, &WaterMotifs::hbond_crit);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Fragments and criteria

THandle<MotifSubstructure> WaterMotifs::make_water() {
  auto water = make_handle<MotifSubstructure>();
  auto o = make_handle<SubstructureAtom>(Element(Element::Oxygen));
  o->add_constraint(THandle<AtomConstraint>(make_handle<AtomNHydrogensConstraint>(
      THandle<Condition>(make_handle<Greater>("greater than", 0.0)), true)));
  water->add(o);
  // A lattice water is a molecule by itself: the oxygen with none, one or two located hydrogens.
  water->set_target_size(0, 3);
  return water;
}

THandle<MotifSubstructure> WaterMotifs::make_h2_water() {
  auto water = make_handle<MotifSubstructure>();
  auto o = make_handle<SubstructureAtom>(Element(Element::Oxygen));
  o->add_constraint(THandle<AtomConstraint>(make_handle<AtomNHydrogensConstraint>(
      THandle<Condition>(make_handle<EqualTo>("equal to", 2.0)), true)));
  water->add(o);
  return water;
}

THandle<CombinedCriterion> WaterMotifs::hbond_crit() {
  auto crit = base_criterion(true);
  // O...O within the radius sum (3.04 A for Bondi oxygens) plus 0.1 A covers ordinary
  // O-H...O water hydrogen bonds, 2.7 to 3.1 A.
  crit->set_upper(0.1);
  return crit;
}

THandle<CombinedCriterion> WaterMotifs::long_crit1() { return long_criterion(10.0); }

// Deliberately a separate function with the same window as long_crit1.
THandle<CombinedCriterion> WaterMotifs::long_crit2() { return long_criterion(10.0); }

THandle<CombinedCriterion> WaterMotifs::long_crit3() { return long_criterion(15.0); }

THandle<CombinedCriterion> WaterMotifs::long_crit4() { return long_criterion(35.0); }

void WaterMotifs::add_water_cross_connections(THandle<Motif> motif) {
  // motif_contact looks in both directions, so a hydrogen bond written j -> i also counts.
  join_unlinked_pairs(*motif, &WaterMotifs::long_crit4);
}

// ---------------------------------------------------------------------------------------------
// Chains and rings

THandle<Motif> WaterMotifs::make_chain() {
  auto motif = waters("water chain", 6, make_water());
  hbond_path(*motif, 0, 5);
  for (int k = 0; k <= 3; ++k)
    link(*motif, k, k + 2, &WaterMotifs::long_crit1);
  for (int k = 0; k <= 2; ++k)
    link(*motif, k, k + 3, &WaterMotifs::long_crit2);
  link_all(*motif, {{0, 4}, {1, 5}, {0, 5}}, &WaterMotifs::long_crit3);
  return motif;
}

THandle<Motif> WaterMotifs::make_chain_of_ten() {
  auto motif = waters("water chain of ten", 10, make_water());
  hbond_path(*motif, 0, 9);
  for (int k = 0; k <= 7; ++k)
    link(*motif, k, k + 2, &WaterMotifs::long_crit1);
  for (int k = 0; k <= 6; ++k)
    link(*motif, k, k + 3, &WaterMotifs::long_crit2);
  for (int k = 0; k <= 5; ++k)
    link(*motif, k, k + 4, &WaterMotifs::long_crit3);
  for (int k = 0; k <= 4; ++k)
    link(*motif, k, k + 5, &WaterMotifs::long_crit3);
  return motif;
}

THandle<Motif> WaterMotifs::make_chain(int n) {
  auto motif = waters("chain of " + std::to_string(n) + " waters", n, make_water());
  hbond_path(*motif, 0, n - 1);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_ring(int n) {
  auto motif = waters("ring of " + std::to_string(n) + " waters", n, make_water());
  hbond_path(*motif, 0, n - 1);
  // The closing bond is written from water 0, unlike the fixed rings below. A single water has
  // no ring to close (a contact of a water with itself would mean its own symmetry image).
  if (n >= 2)
    link(*motif, 0, n - 1, &WaterMotifs::hbond_crit);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_cube() {
  auto motif = waters("cube motif", 8, make_water());
  link_all(*motif,
           {{0, 1},
            {1, 2},
            {2, 3},
            {3, 0},
            {0, 4},
            {1, 5},
            {3, 7},
            {2, 6},
            {4, 5},
            {5, 6},
            {6, 7},
            {7, 4}},
           &WaterMotifs::hbond_crit);
  // Face diagonals only; the four body diagonals are left unconstrained.
  link_all(*motif,
           {{0, 2},
            {1, 3},
            {0, 5},
            {1, 4},
            {0, 7},
            {3, 4},
            {1, 6},
            {2, 5},
            {4, 6},
            {5, 7},
            {2, 7},
            {3, 6}},
           &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_ring_of_six() {
  auto motif = waters("Ring of six waters", 6, make_water());
  closed_ring(*motif, 6);
  join_unlinked_pairs(*motif, &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_ring_of_eight() {
  auto motif = waters("Ring of eight waters", 8, make_water());
  closed_ring(*motif, 8);
  join_unlinked_pairs(*motif, &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_ring_of_ten() {
  auto motif = waters("Ring of ten waters", 10, make_water());
  closed_ring(*motif, 10);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_ring_of_twelve() {
  auto motif = waters("Ring of twelve waters", 12, make_water());
  closed_ring(*motif, 12);
  add_water_cross_connections(motif);
  return motif;
}

// ---------------------------------------------------------------------------------------------
// Tapes, cages and fused rings

THandle<Motif> WaterMotifs::make_T41() {
  auto motif = waters("T41", 10, make_water());
  link_all(*motif,
           {{0, 1},
            {0, 2},
            {1, 3},
            {2, 3},
            {3, 4},
            {3, 5},
            {4, 6},
            {5, 6},
            {6, 7},
            {6, 8},
            {7, 9},
            {8, 9}},
           &WaterMotifs::hbond_crit);
  link_all(*motif,
           {{0, 3},
            {1, 2},
            {1, 4},
            {1, 5},
            {2, 4},
            {2, 5},
            {3, 6},
            {4, 5},
            {4, 7},
            {4, 8},
            {5, 7},
            {5, 8},
            {6, 9},
            {7, 8}},
           &WaterMotifs::long_crit1);
  link_all(*motif, {{1, 7}, {2, 8}}, &WaterMotifs::long_crit3);
  return motif;
}

THandle<Motif> WaterMotifs::make_T42_62() {
  auto motif = waters("T42-62", 12, make_water());
  link_all(*motif,
           {{0, 2},
            {2, 4},
            {4, 5},
            {5, 3},
            {3, 1},
            {1, 0},
            {4, 6},
            {5, 7},
            {6, 7},
            {6, 8},
            {7, 9},
            {8, 10},
            {9, 11},
            {10, 11}},
           &WaterMotifs::hbond_crit);
  link_all(*motif, {{0, 4},  {0, 5}, {0, 3},  {2, 5},  {2, 3}, {2, 1}, {4, 3},  {4, 1},
                    {5, 1},  {2, 6}, {3, 7},  {4, 7},  {5, 6}, {4, 8}, {5, 9},  {6, 10},
                    {6, 11}, {6, 9}, {7, 10}, {8, 11}, {8, 9}, {8, 7}, {10, 9}, {11, 7}},
           &WaterMotifs::long_crit1);
  link_all(*motif, {{2, 8}, {3, 9}}, &WaterMotifs::long_crit3);
  return motif;
}

THandle<Motif> WaterMotifs::make_w8() {
  auto motif = waters("w8 motif", 8, make_water());
  link_all(*motif, {{1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5}, {3, 7}, {2, 6}, {4, 5}, {5, 6}, {7, 4}},
           &WaterMotifs::hbond_crit);
  // The pair 2 -> 5 appears twice in this list; the repeat is intended and kept.
  link_all(*motif,
           {{0, 1},
            {6, 7},
            {0, 2},
            {1, 3},
            {0, 5},
            {1, 4},
            {0, 6},
            {0, 7},
            {1, 7},
            {3, 4},
            {3, 5},
            {1, 6},
            {2, 5},
            {4, 6},
            {5, 7},
            {2, 5},
            {2, 7},
            {3, 6}},
           &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_w10() {
  auto motif = waters("w10 motif", 10, make_water());
  link_all(*motif,
           {{0, 3},
            {0, 1},
            {1, 2},
            {1, 6},
            {2, 5},
            {3, 4},
            {4, 5},
            {3, 7},
            {5, 9},
            {6, 8},
            {7, 8},
            {8, 9}},
           &WaterMotifs::hbond_crit);
  join_unlinked_pairs(*motif, &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_L6_6_10() {
  auto motif = waters("L6610", 19, make_water());
  link_all(*motif, {{0, 1},  {1, 2},   {2, 3},   {3, 4},   {4, 5},   {5, 0},   {2, 6},   {6, 7},
                    {7, 8},  {8, 9},   {9, 3},   {6, 10},  {10, 11}, {11, 12}, {12, 13}, {13, 7},
                    {0, 14}, {14, 15}, {15, 16}, {16, 17}, {17, 18}, {18, 11}},
           &WaterMotifs::hbond_crit);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_2_R12s_joined_by_2() {
  return two_dodecamers("2 R12s joined by 2", 22, 5, 6);
}

THandle<Motif> WaterMotifs::make_2_R12s_joined_by_3() {
  return two_dodecamers("2 R12s joined by 3", 21, 4, 6);
}

THandle<Motif> WaterMotifs::make_2_R12s_joined_by_4() {
  return two_dodecamers("2 R12s joined by 4", 20, 3, 6);
}

THandle<Motif> WaterMotifs::make_2_R12s_joined_by_5() {
  return two_dodecamers("2 R12s joined by 5", 19, 2, 6);
}

THandle<Motif> WaterMotifs::make_three_fives() {
  // "penatgons" is the motif's established name; the spelling is kept.
  auto motif = waters("three penatgons of water", 11, make_water());
  link_all(*motif,
           {{0, 1},
            {1, 2},
            {2, 3},
            {3, 4},
            {4, 0},
            {3, 5},
            {4, 6},
            {6, 7},
            {5, 7},
            {5, 8},
            {8, 9},
            {9, 10},
            {7, 10}},
           &WaterMotifs::hbond_crit);
  link_all(*motif,
           {{0, 2},
            {0, 3},
            {1, 3},
            {1, 4},
            {2, 4},
            {2, 5},
            {0, 6},
            {3, 6},
            {3, 7},
            {4, 5},
            {4, 7},
            {5, 6},
            {3, 8},
            {6, 10},
            {5, 9},
            {5, 10},
            {7, 8},
            {7, 9},
            {8, 10}},
           &WaterMotifs::long_crit1);
  return motif;
}

THandle<Motif> WaterMotifs::make_three_fives_joined_in_middle() {
  auto motif = waters("three penatgons of water like tie fighter", 11, make_water());
  link_all(*motif,
           {{0, 1},
            {1, 2},
            {2, 3},
            {3, 4},
            {4, 0},
            {3, 5},
            {5, 6},
            {6, 7},
            {7, 4},
            {3, 8},
            {8, 9},
            {9, 10},
            {10, 4}},
           &WaterMotifs::hbond_crit);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_2T62() {
  auto motif = waters("2T6(2)", 16, make_water());
  closed_ring(*motif, 6);
  link_all(*motif,
           {{1, 6},
            {6, 7},
            {7, 8},
            {8, 9},
            {9, 2},
            {9, 10},
            {10, 11},
            {11, 12},
            {12, 3},
            {8, 13},
            {13, 14},
            {14, 15},
            {15, 10}},
           &WaterMotifs::hbond_crit);
  add_water_cross_connections(motif);
  return motif;
}

THandle<Motif> WaterMotifs::make_decamer() {
  // The butterfly is built from waters with both hydrogens, on molecules of any size.
  auto motif = waters("butterfly decamer", 10, make_h2_water());
  link_all(*motif,
           {{0, 1},
            {1, 2},
            {2, 3},
            {3, 0},
            {3, 4},
            {4, 5},
            {5, 6},
            {6, 0},
            {6, 7},
            {7, 9},
            {9, 1},
            {7, 8},
            {8, 5},
            {8, 2}},
           &WaterMotifs::hbond_crit);
  add_water_cross_connections(motif);
  return motif;
}

} // namespace xtalmotif
