// The grid over a crystal environment that the contact search asks for the atoms near a point.

#include "crystal/cif_reader.h"
#include "library/water_motifs.h"
#include "match/environment_grid.h"
#include "search/motif_search.h"
#include "search_test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace xtalmotif {
namespace {

using testing::absolute_criterion;
using testing::contact;
using testing::empty_crystal;
using testing::query_atom;
using testing::water_substructure;

// Deterministic numbers from 0 to 1.
class Lcg {
public:
  explicit Lcg(std::uint32_t seed) : x_(seed) {}
  double next() {
    x_ = x_ * 1664525u + 1013904223u;
    return (x_ >> 8) / double(1u << 24);
  }

private:
  std::uint32_t x_;
};

using Found = std::tuple<int, int, int, int, int>; // copy, atom, translation

// What a scan of every copy, every atom and every translation of a wide box finds within the
// reach, in the scan's order.
std::vector<Found> scan(const MotifSearchResource& r, const Point& p, double reach, int cells) {
  std::vector<Found> out;
  const Point origin = r.orthogonal_matrix() * p;
  for (int k = 0; k < r.ncopies(); ++k)
    for (int a = 0; a < static_cast<int>((*r.molecule_points)[k]->size()); ++a)
      for (int i = -cells; i <= cells; ++i)
        for (int j = -cells; j <= cells; ++j)
          for (int l = -cells; l <= cells; ++l) {
            const Point q = r.get_point(k, a, true) + Point(i, j, l);
            if (sqrdistance(origin, r.orthogonal_matrix() * q) <= reach * reach)
              out.emplace_back(k, a, i, j, l);
          }
  return out;
}

// The grid finds exactly what the full scan finds, in its order, whatever the cell: cubic,
// strongly oblique, smaller than the reach, or large enough for many bins.
TEST(EnvironmentGridTest, FindsWhatAScanOfEveryCopyAndCellFinds) {
  struct Case {
    std::vector<double> cell;
    std::vector<std::string> operators;
    double reach;
    int cells; // of the scan's box: every cell an atom within reach of the points can be in
  };
  const std::vector<Case> cases = {
      {{10, 10, 10, 90, 90, 90}, {"x,y,z", "-x,-y,-z"}, 5.0, 4},
      {{7, 9, 12, 60, 115, 75}, {"x,y,z", "-x,-y,-z"}, 8.0, 7},
      {{3, 4, 3.5, 90, 100, 90},
       {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"},
       9.0,
       8},
      {{40, 40, 40, 90, 90, 90}, {"x,y,z"}, 12.0, 3},
  };
  Lcg random(7);
  for (const Case& c : cases) {
    auto crystal = empty_crystal(c.cell[0], c.cell[1], c.cell[2], c.cell[3], c.cell[4], c.cell[5],
                                 c.operators);
    for (int i = 0; i < 40; ++i)
      testing::add_molecule(
          *crystal,
          {{"O", crystal->to_orthogonal(Point(random.next(), random.next(), random.next()))}},
          {});
    auto resource = make_handle<MotifSearchResource>(crystal);
    EnvironmentGrid grid(resource);
    std::size_t total = 0;
    for (int i = 0; i < 20; ++i) {
      const Point p(3 * random.next() - 1, 3 * random.next() - 1, 3 * random.next() - 1);
      std::vector<NearbyAtom> near;
      grid.find_within(p, c.reach, near);
      std::vector<Found> found;
      for (const auto& n : near)
        found.emplace_back(n.copy, n.atom, n.translation[0], n.translation[1], n.translation[2]);
      EXPECT_EQ(found, scan(*resource, p, c.reach, c.cells)) << "cell " << c.cell[0];
      total += found.size();
    }
    EXPECT_GT(total, 20u) << "cell " << c.cell[0];
  }
}

// A reach of many cells in a tiny cell (a contact limit no query file may give, set in code) is
// an error naming the entry, not an endless loop or an integer overflow.
TEST(EnvironmentGridTest, AReachOfCountlessCellsIsAnErrorNamingTheEntry) {
  auto crystal = empty_crystal(0.5, 0.5, 0.5);
  testing::add_molecule(*crystal, {{"O", Point(0.1, 0.1, 0.1)}}, {});
  for (double upper : {1e4, 1e300, HUGE_VAL}) {
    auto motif = make_handle<Motif>("far");
    motif->add_substructure(water_substructure());
    motif->add_substructure(water_substructure());
    MotifSearch search;
    search.set_search_structure(crystal, DatabaseEntryIdentifier("tiny"));
    search.set_motif(motif);
    auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(0, 0, 0));
    auto far = contact(0, 0, 1, 0, absolute_criterion(0.0, upper, ContactType::Inter));
    try {
      search.find_contacts(search.resource()->get_point(from, true), from, far, 1,
                           query_atom("O"));
      ADD_FAILURE() << upper;
    } catch (const std::runtime_error& e) {
      EXPECT_EQ(std::string(e.what()).rfind("tiny: contact search: a reach of ", 0), 0u)
          << e.what();
    }
  }
}

// A thousand water oxygens in general positions of F m -3 m are over a hundred thousand molecule
// copies: the environment is built and every ring of six found in seconds, where a scan of every
// copy for each contact took minutes.
TEST(EnvironmentGridTest, AThousandSitesInAFaceCentredCubicCellAreSearchedInSeconds) {
  std::ostringstream cif;
  cif << "data_fm3m\n_cell_length_a 160\n_cell_length_b 160\n_cell_length_c 160\n"
         "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
         "_space_group_name_H-M_alt 'F m -3 m'\nloop_\n_atom_site_label\n"
         "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
  Lcg random(11);
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
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_GT(search.results()->motif_matches(DatabaseEntryIdentifier("fm3m"))->size(), 0u);
  EXPECT_LT(seconds, 30.0);
}

} // namespace
} // namespace xtalmotif
