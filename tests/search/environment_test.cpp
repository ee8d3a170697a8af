// The symmetry-expanded environment of a structure: which molecule copies exist, the lattice
// translation test that decides it, positions in oblique cells, and the grid through which the
// contact search finds the atoms near a point.

#include "crystal/cif_reader.h"
#include "library/water_motifs.h"
#include "match/environment_grid.h"
#include "search/motif_search.h"

#include "search_test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <sstream>
#include <tuple>

namespace xtalmotif {
namespace {

using namespace testing;

const std::vector<std::string> p1bar = p1bar_operators(), p21c = p21c_operators();
const std::vector<AtomAt> general = {
    {"O", Point(0.12, 0.21, 0.33)}, {"C", Point(0.18, 0.27, 0.41)}, {"N", Point(0.25, 0.22, 0.47)}};
// O-C-C'-O' centred on the inversion centre at the origin.
const std::vector<AtomAt> centrosymmetric = {
    {"O", Point(0.10, 0.05, 0.12)}, {"C", Point(0.04, 0.02, 0.05)},
    {"C", Point(-0.04, -0.02, -0.05)}, {"O", Point(-0.10, -0.05, -0.12)}};

std::vector<AtomAt> shifted(std::vector<AtomAt> atoms, const Point& by) {
  for (auto& a : atoms)
    a.at = a.at + by;
  return atoms;
}

// A molecule gets one copy untransformed and one per further operator, unless the copy's first
// atom is a lattice translate of an atom already there (a molecule on a symmetry element, or a
// repeat of an earlier one). A molecule without sites ends the expansion.
TEST(EnvironmentCopies, OneCopyPerOperatorImageNotYetPresent) {
  const auto other = shifted(general, Point(0.4, 0.5, -0.2));
  using Molecules = std::vector<std::vector<AtomAt>>;
  const std::vector<std::tuple<const char*, std::vector<std::string>, Molecules, std::vector<int>,
                               std::vector<int>>>
      cases = {
          {"general, P1", {"x,y,z"}, {general}, {0}, {0}},
          {"general, P21/c", p21c, {general}, {0, 1, 2, 3}, {0, 0, 0, 0}},
          {"on the inversion centre at the origin, P-1", p1bar, {centrosymmetric}, {0}, {0}},
          {"on the inversion centre at (1/2, 1/2, 0), P-1", p1bar,
           {shifted(centrosymmetric, Point(0.5, 0.5, 0))}, {0}, {0}},
          {"on an inversion centre, P21/c: the glide repeats the screw copy", p21c,
           {centrosymmetric}, {0, 1}, {0, 0}},
          {"first atom on an inversion centre", p1bar,
           {{{"O", Point(0.5, 0, 0)}, {"C", Point(0.6, 0.1, 0.1)}}}, {0}, {0}},
          {"first atom general", p1bar, {{{"C", Point(0.6, 0.1, 0.1)}, {"O", Point(0.5, 0, 0)}}},
           {0, 1}, {0, 0}},
          {"two molecules, copies molecule by molecule", p1bar, {general, other}, {0, 1, 0, 1},
           {0, 0, 1, 1}},
          {"a lattice translate of an earlier molecule", p1bar,
           {general, shifted(general, Point(1, -2, 0))}, {0, 1}, {0, 0}},
          {"an atom without a site", {"x,y,z"},
           {{{"O", Point(0.1, 0.2, 0.3)}, {"C", nowhere}, {"N", Point(0.4, 0.5, 0.6)}}}, {0}, {0}},
          {"a molecule without sites after the first", p1bar, {general, {{"Cl", nowhere}}, other},
           {0, 1}, {0, 0}},
          {"a molecule without sites first", p1bar, {{{"Cl", nowhere}}, general}, {}, {}}};
  for (const auto& [name, operators, molecules, operator_of_copy, molecule_of_copy] : cases) {
    SCOPED_TRACE(name);
    auto cm = make_crystal(10, 10, 10, 90, 90, 90, operators);
    for (auto m : molecules) { // fractional positions in a 10 A cell
      for (auto& a : m)
        a.at = 10.0 * a.at;
      add_molecule(*cm, m);
    }
    MotifSearchResource r(cm);
    EXPECT_EQ(r.operator_of_copy, operator_of_copy);
    EXPECT_EQ(r.cm_molecule_of_copy, molecule_of_copy);
    for (int m = 0; m < cm->nmolecules(); ++m) {
      const auto& v = molecule_of_copy;
      const int first = static_cast<int>(std::find(v.begin(), v.end(), m) - v.begin());
      EXPECT_EQ(r.nmol_in_resource(m), first < static_cast<int>(v.size()) ? first : -1);
    }
    expect_operator_images(r);
  }
}

TEST(EnvironmentCopies, LatticeTranslatesAreFoundWithinAThousandthOfACell) {
  const std::vector<std::tuple<Point, Point, bool>> pairs = {
      {Point(0.2, 0.3, 0.4), Point(-0.8, 2.3, -1.6), true}, {Point(0.9995, 0, 0), Point(), true},
      {Point(0, 0, 2.0005), Point(), true},         {Point(0.001, 0, 0), Point(), false},
      {Point(), Point(0, 0, -0.999), false},        {Point(0.25, 0, 0), Point(-0.25, 0, 0), false},
      {Point(0.3, 0.3, 0.3), Point(0.3009, -0.6991, 1.2991), true},
      {Point(0.2, 0.3, 0.4), Point(1.2015, 0.3, 0.4), false}};
  MotifSearchResource r(make_crystal(10, 10, 10, 90, 90, 90));
  for (const auto& [a, b, related] : pairs)
    EXPECT_EQ(r.are_points_related_by_int_translation(a, b), related) << a << " " << b;
}

// In an oblique cell a copy moves with its address's translation by whole lattice vectors.
TEST(EnvironmentPoints, AddressesFollowTheCopyAndItsCell) {
  auto cm = make_crystal(9, 11, 7.5, 75, 105, 115, p1bar);
  add_sited_molecule(*cm, {{"O", "O1", Point(0.1, 0.2, 0.3)}, {"C", "C1", Point(0.15, 0.25, 0.4)}});
  auto r = make_handle<MotifSearchResource>(cm);
  auto at = [](int copy, int atom, int a, int b, int c) {
    return make_handle<AtomAddress>(copy, 0, atom, make_handle<Translation>(a, b, c));
  };
  const Point p = r->get_point(at(0, 1, 0, 0, 0), false);
  EXPECT_NEAR(distance(p, r->get_point(at(0, 1, 0, 1, 0), false)), 11.0, 1e-9);
  EXPECT_NEAR(distance(p, at(0, 1, 0, 0, -1)->get_point(r, false)), 7.5, 1e-9);
  // Copy 1 is the inverse: its O at (-0.1, -0.2, -0.3), here moved by (1, 0, 1).
  EXPECT_LT(distance(at(1, 0, 1, 0, 1)->get_point(r, true), Point(0.9, -0.2, 0.7)), 1e-12);
  const Point orthogonal = cm->to_orthogonal(Point(0.9, -0.2, 0.7));
  EXPECT_LT(distance(r->get_point(at(1, 0, 1, 0, 1), false), orthogonal), 1e-9);
}

// Deterministic numbers from 0 to 1.
struct Lcg {
  std::uint32_t x;
  double next() {
    x = x * 1664525u + 1013904223u;
    return (x >> 8) / double(1u << 24);
  }
};

// The grid finds exactly what a scan of every copy, atom and translation of a wide box finds,
// in the scan's order, whatever the cell: cubic, strongly oblique, smaller than the reach, or
// large enough for many bins.
TEST(EnvironmentGrid, FindsWhatAScanOfEveryCopyAndCellFinds) {
  // Cell, operators, reach, and the cells either side the scan's box spans: every cell an atom
  // within reach of the points can be in.
  using Case = std::tuple<std::vector<double>, std::vector<std::string>, double, int>;
  const std::vector<Case> cases = {
      {{10, 10, 10, 90, 90, 90}, p1bar, 5.0, 4},
      {{7, 9, 12, 60, 115, 75}, p1bar, 8.0, 7},
      {{3, 4, 3.5, 90, 100, 90}, p21c, 9.0, 8},
      {{40, 40, 40, 90, 90, 90}, {"x,y,z"}, 12.0, 3}};
  Lcg random{7};
  for (const auto& [cell, operators, reach, cells] : cases) {
    auto cm = make_crystal(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5], operators);
    for (int i = 0; i < 40; ++i)
      add_sited_molecule(*cm, {{"O", "O", Point(random.next(), random.next(), random.next())}});
    auto r = make_handle<MotifSearchResource>(cm);
    EnvironmentGrid grid(r);
    std::size_t total = 0;
    for (int i = 0; i < 20; ++i) {
      const Point p(3 * random.next() - 1, 3 * random.next() - 1, 3 * random.next() - 1);
      std::vector<NearbyAtom> near;
      grid.find_within(p, reach, near);
      std::vector<std::tuple<int, int, int, int, int>> found, scanned;
      for (const auto& n : near)
        found.emplace_back(n.copy, n.atom, n.translation[0], n.translation[1], n.translation[2]);
      const int n = 2 * cells + 1;
      for (int k = 0; k < r->ncopies(); ++k)
        for (int a = 0; a < static_cast<int>((*r->molecule_points)[k]->size()); ++a)
          for (int t = 0; t < n * n * n; ++t) {
            const int ta = t / (n * n) - cells, tb = t / n % n - cells, tc = t % n - cells;
            const Point q = r->get_point(k, a, true) + Point(ta, tb, tc);
            const Matrix<double, 3, 3>& orth = r->orthogonal_matrix();
            if (sqrdistance(orth * p, orth * q) <= reach * reach)
              scanned.emplace_back(k, a, ta, tb, tc);
          }
      EXPECT_EQ(found, scanned) << "cell " << cell[0];
      total += found.size();
    }
    EXPECT_GT(total, 20u) << "cell " << cell[0];
  }
}

// A thousand water oxygens in general positions of F m -3 m are over a hundred thousand molecule
// copies: the environment is built and every ring of six found in seconds, where a scan of every
// copy for each contact took minutes.
TEST(EnvironmentGrid, AThousandSitesInAFaceCentredCubicCellAreSearchedInSeconds) {
  std::ostringstream cif;
  cif << "data_fm3m _cell_length_a 160 _cell_length_b 160 _cell_length_c 160 _cell_angle_alpha 90"
         " _cell_angle_beta 90 _cell_angle_gamma 90 _space_group_name_H-M_alt 'F m -3 m' loop_"
         " _atom_site_label _atom_site_type_symbol _atom_site_fract_x _atom_site_fract_y"
         " _atom_site_fract_z\n";
  Lcg random{11};
  for (int i = 1; i <= 1000; ++i)
    cif << 'O' << i << " O " << random.next() << ' ' << random.next() << ' ' << random.next()
        << '\n';
  const auto start = std::chrono::steady_clock::now();
  MotifSearch search;
  search.set_limit(100000);
  search.set_search_structure(read_crystal_from_string(cif.str(), "fm3m"),
                              DatabaseEntryIdentifier("fm3m"));
  EXPECT_GT(search.resource()->ncopies(), 100000);
  search.search(WaterMotifs::make_ring_of_six(), 0);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_GT(search.results()->motif_matches(DatabaseEntryIdentifier("fm3m"))->size(), 0u);
  EXPECT_LT(seconds.count(), 30.0);
}

} // namespace
} // namespace xtalmotif
