// The symmetry-expanded environment of a structure: which molecule copies exist, the lattice
// translation test that decides it, positions and atoms in oblique cells, and the grid through
// which the contact search finds the atoms near a point.

#include "kernel/cif_reader.h"
#include "library/water_motifs.h"
#include "search/environment_grid.h"
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

const std::vector<AtomAt> general = {
    {"O", Point(0.12, 0.21, 0.33)}, {"C", Point(0.18, 0.27, 0.41)}, {"N", Point(0.25, 0.22, 0.47)}};
// O-C-C'-O' centred on the inversion centre at the origin.
const std::vector<AtomAt> centrosymmetric = {{"O", Point(0.10, 0.05, 0.12)},
                                             {"C", Point(0.04, 0.02, 0.05)},
                                             {"C", Point(-0.04, -0.02, -0.05)},
                                             {"O", Point(-0.10, -0.05, -0.12)}};

std::vector<AtomAt> shifted(std::vector<AtomAt> atoms, const Point& by) {
  for (auto& a : atoms)
    a.at = a.at + by;
  return atoms;
}

// A molecule gets one copy untransformed and one per further operator, unless the copy's first
// atom is a lattice translate of an atom already there (a molecule on a symmetry element, or a
// repeat of an earlier one). A molecule without sites ends the expansion.
TEST(EnvironmentCopies, OneCopyPerOperatorImageNotYetPresent) {
  struct Case {
    std::string name;
    std::vector<std::string> operators;
    std::vector<std::vector<AtomAt>> molecules;
    std::vector<int> operator_of_copy, molecule_of_copy;
  };
  const std::vector<AtomAt> water = {
      {"O", Point(0.61, 0.72, 0.13)}, {"H", Point(0.64, 0.8, 0.15)}, {"H", Point(0.55, 0.7, 0.2)}};
  const std::vector<Case> cases = {
      {"general, P1", {"x,y,z"}, {general}, {0}, {0}},
      {"general, P21/c", p21c, {general}, {0, 1, 2, 3}, {0, 0, 0, 0}},
      {"on the inversion centre at the origin, P-1", p1bar, {centrosymmetric}, {0}, {0}},
      {"on the inversion centre at (1/2, 1/2, 0), P-1",
       p1bar, {shifted(centrosymmetric, Point(0.5, 0.5, 0))}, {0}, {0}},
      {"on an inversion centre, P21/c: the glide repeats the screw copy",
       p21c, {centrosymmetric}, {0, 1}, {0, 0}},
      {"first atom on an inversion centre", p1bar,
       {{{"O", Point(0.5, 0, 0)}, {"C", Point(0.6, 0.1, 0.1)}}}, {0}, {0}},
      {"first atom general", p1bar, {{{"C", Point(0.6, 0.1, 0.1)}, {"O", Point(0.5, 0, 0)}}},
       {0, 1}, {0, 0}},
      {"two molecules, copies molecule by molecule", p1bar, {general, water}, {0, 1, 0, 1},
       {0, 0, 1, 1}},
      {"a lattice translate of an earlier molecule", p1bar,
       {general, shifted(general, Point(1, -2, 0))}, {0, 1}, {0, 0}},
      {"an atom without a site", {"x,y,z"},
       {{{"O", Point(0.1, 0.2, 0.3)}, {"C", nowhere}, {"N", Point(0.4, 0.5, 0.6)}}}, {0}, {0}},
      {"a molecule without sites after the first", p1bar, {general, {{"Cl", nowhere}}, water},
       {0, 1}, {0, 0}},
      {"a molecule without sites first", p1bar, {{{"Cl", nowhere}}, general}, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto cm = crystal({10, 10, 10, 90, 90, 90}, c.operators);
    for (const auto& m : c.molecules)
      add_molecule(*cm, m, {}, true);
    MotifSearchResource r(cm);
    EXPECT_EQ(r.operator_of_copy, c.operator_of_copy);
    EXPECT_EQ(r.cm_molecule_of_copy, c.molecule_of_copy);
    for (int m = 0; m < cm->nmolecules(); ++m) {
      const auto first = std::find(c.molecule_of_copy.begin(), c.molecule_of_copy.end(), m);
      EXPECT_EQ(r.nmol_in_resource(m), first == c.molecule_of_copy.end()
                                           ? -1
                                           : static_cast<int>(first - c.molecule_of_copy.begin()));
    }
    expect_operator_images(r);
  }
}

TEST(EnvironmentCopies, LatticeTranslatesAreFoundWithinAThousandthOfACell) {
  auto cm = crystal({10, 10, 10, 90, 90, 90}, p1bar);
  add_molecule(*cm, general, {}, true);
  MotifSearchResource r(cm);
  const std::vector<std::tuple<Point, Point, bool>> pairs = {
      {Point(0.2, 0.3, 0.4), Point(-0.8, 2.3, -1.6), true},
      {Point(0.9995, 0, 0), Point(0, 0, 0), true},
      {Point(0, 0, 2.0005), Point(0, 0, 0), true},
      {Point(0.3, 0.3, 0.3), Point(0.3009, -0.6991, 1.2991), true},
      {Point(0.001, 0, 0), Point(0, 0, 0), false},
      {Point(0, 0, 0), Point(0, 0, -0.999), false},
      {Point(0.2, 0.3, 0.4), Point(1.2015, 0.3, 0.4), false},
      {Point(0.25, 0, 0), Point(-0.25, 0, 0), false}};
  for (const auto& [a, b, related] : pairs)
    EXPECT_EQ(r.are_points_related_by_int_translation(a, b), related) << a << " " << b;
  // Stored: the molecule and its inverse.
  EXPECT_TRUE(r.is_point_already_generated(Point(1.25, -1.78, 0.47)));
  EXPECT_TRUE(r.is_point_already_generated(Point(0.82, 0.73, 0.59))); // -C + (1, 1, 1)
  EXPECT_FALSE(r.is_point_already_generated(Point(0.122, 0.21, 0.33)));
}

// In an oblique cell a copy moves with its address's translation by whole lattice vectors, and
// the atoms handed out for a placement are new atoms there, fully occupied.
TEST(EnvironmentPoints, AddressesAndPlacedAtomsFollowTheCopyAndItsCell) {
  auto cm = crystal({9, 11, 7.5, 75, 105, 115}, p1bar);
  add_molecule(*cm, {{"O", Point(0.1, 0.2, 0.3)}, {"C", Point(0.15, 0.25, 0.35)}}, {{0, 1}}, true,
               0.5);
  auto r = make_handle<MotifSearchResource>(cm);
  auto at = [](int copy, int atom, int a, int b, int c) {
    return make_handle<AtomAddress>(copy, 0, atom, make_handle<Translation>(a, b, c));
  };
  const Point p = r->get_point(at(0, 1, 0, 0, 0), false);
  EXPECT_NEAR(distance(p, r->get_point(at(0, 1, 0, 1, 0), false)), 11.0, 1e-9);
  EXPECT_NEAR(distance(p, at(0, 1, 0, 0, -1)->get_point(r, false)), 7.5, 1e-9);
  // Copy 1 is the inverse: its O at (-0.1, -0.2, -0.3), here moved by (1, 0, 1).
  EXPECT_LT(distance(at(1, 0, 1, 0, 1)->get_point(r, true), Point(0.9, -0.2, 0.7)), 1e-12);
  EXPECT_LT(distance(r->get_point(at(1, 0, 1, 0, 1), false), cm->to_orthogonal(Point(0.9, -0.2, 0.7))),
            1e-9);

  auto placed = make_handle<SubstructureMatch>();
  placed->nmol_in_msr = 1;
  placed->nmol_in_cm = 0;
  placed->atoms = make_handle<std::vector<int>>(std::vector<int>{1, 0});
  placed->translation = make_handle<Translation>(0, 0, -1);
  auto atoms = r->atoms(placed);
  ASSERT_EQ(atoms->size(), 2u);
  EXPECT_EQ((*atoms)[0]->label(), "C2");
  EXPECT_LT(distance((*atoms)[0]->site()->fractional(), Point(-0.15, -0.25, -1.35)), 1e-12);
  EXPECT_LT(distance((*atoms)[1]->position(), cm->to_orthogonal(Point(-0.1, -0.2, -1.3))), 1e-9);
  EXPECT_EQ((*atoms)[1]->site()->occupancy(), 1.0);
  auto molecule = r->molecule(placed);
  EXPECT_EQ(molecule->nbonds(), 1);
  EXPECT_LT(distance(molecule->atom(0)->site()->fractional(), Point(-0.1, -0.2, -1.3)), 1e-12);
  // The crystal's own atoms stay where and as they were.
  EXPECT_LT(distance(cm->molecule(0)->atom(0)->site()->fractional(), Point(0.1, 0.2, 0.3)), 1e-12);
  EXPECT_EQ(cm->molecule(0)->atom(0)->site()->occupancy(), 0.5);
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
  struct Case {
    std::vector<double> cell;
    std::vector<std::string> operators;
    double reach;
    int cells; // of the scan's box: every cell an atom within reach of the points can be in
  };
  const std::vector<Case> cases = {{{10, 10, 10, 90, 90, 90}, p1bar, 5.0, 4},
                                   {{7, 9, 12, 60, 115, 75}, p1bar, 8.0, 7},
                                   {{3, 4, 3.5, 90, 100, 90}, p21c, 9.0, 8},
                                   {{40, 40, 40, 90, 90, 90}, {"x,y,z"}, 12.0, 3}};
  Lcg random{7};
  for (const Case& c : cases) {
    auto cm = crystal(c.cell, c.operators);
    for (int i = 0; i < 40; ++i)
      add_molecule(*cm, {{"O", Point(random.next(), random.next(), random.next())}}, {}, true);
    auto r = make_handle<MotifSearchResource>(cm);
    EnvironmentGrid grid(r);
    std::size_t total = 0;
    for (int i = 0; i < 20; ++i) {
      const Point p(3 * random.next() - 1, 3 * random.next() - 1, 3 * random.next() - 1);
      std::vector<NearbyAtom> near;
      grid.find_within(p, c.reach, near);
      std::vector<std::tuple<int, int, int, int, int>> found, scanned;
      for (const auto& n : near)
        found.emplace_back(n.copy, n.atom, n.translation[0], n.translation[1], n.translation[2]);
      const int n = 2 * c.cells + 1;
      for (int k = 0; k < r->ncopies(); ++k)
        for (int a = 0; a < static_cast<int>((*r->molecule_points)[k]->size()); ++a)
          for (int t = 0; t < n * n * n; ++t) {
            const int ta = t / (n * n) - c.cells, tb = t / n % n - c.cells, tc = t % n - c.cells;
            const Point q = r->get_point(k, a, true) + Point(ta, tb, tc);
            const Matrix<double, 3, 3>& orth = r->orthogonal_matrix();
            if (sqrdistance(orth * p, orth * q) <= c.reach * c.reach)
              scanned.emplace_back(k, a, ta, tb, tc);
          }
      EXPECT_EQ(found, scanned) << "cell " << c.cell[0];
      total += found.size();
    }
    EXPECT_GT(total, 20u) << "cell " << c.cell[0];
  }
}

// A reach of countless cells in a tiny cell (a contact limit no query file may give, set in
// code) is an error naming the entry, not an endless loop or an integer overflow.
TEST(EnvironmentGrid, AReachOfCountlessCellsIsAnErrorNamingTheEntry) {
  auto cm = crystal({0.5, 0.5, 0.5, 90, 90, 90});
  add_molecule(*cm, {{"O", Point(0.1, 0.1, 0.1)}});
  for (double upper : {1e4, 1e300, HUGE_VAL}) {
    MotifSearch search;
    search.set_search_structure(cm, DatabaseEntryIdentifier("tiny"));
    search.set_motif(motif_of({fragment({"O"}), fragment({"O"})}));
    auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(0, 0, 0));
    try {
      search.find_contacts(Point(0.2, 0.2, 0.2), from, contact(0, 0, 1, 0, absolute(0, upper)), 1,
                           make_handle<SubstructureAtom>(Element("O")));
      ADD_FAILURE() << upper;
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()).rfind("tiny: contact search: a reach of ", 0), 0u) << e.what();
    }
  }
}

// A thousand water oxygens in general positions of F m -3 m are over a hundred thousand molecule
// copies: the environment is built and every ring of six found in seconds, where a scan of every
// copy for each contact took minutes.
TEST(EnvironmentGrid, AThousandSitesInAFaceCentredCubicCellAreSearchedInSeconds) {
  std::ostringstream cif;
  cif << "data_fm3m\n_cell_length_a 160\n_cell_length_b 160\n_cell_length_c 160\n"
         "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
         "_space_group_name_H-M_alt 'F m -3 m'\nloop_\n_atom_site_label\n"
         "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
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
