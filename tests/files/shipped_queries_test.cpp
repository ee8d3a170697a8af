// The query files shipped in data/queries, read into motifs and held to the chemistry each file
// states in its header.

#include "files/con_file.h"

#include "motif/motif.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

TEST(ShippedQueries, EveryFileIsAnIntermolecularMotifOfTheContactsItsHeaderStates) {
  struct Query {
    int substructures, contacts, angles;
    // Contact 0: the van der Waals radii of its two atoms, a distance (A) it accepts and one
    // just beyond its reach.
    double radius_from, radius_to, in, out;
  };
  const std::map<std::string, Query> queries = {
      // H...O below the radius sum, 1.09 + 1.52 = 2.61 A.
      {"carboxylic_acid_dimer.con", {2, 2, 0, 1.09, 1.52, 2.55, 2.65}},
      {"water_water.con", {2, 1, 0, 1.09, 1.52, 2.55, 2.65}},
      {"hydroxyl_hbond_angle.con", {2, 1, 1, 1.09, 1.52, 2.55, 2.65}},
      // H...O from 1.61 to 2.51 A.
      {"amide_chain.con", {2, 1, 0, 1.09, 1.52, 1.65, 2.55}},
      // Ag...O below 2.80 A.
      {"silver_carboxylate.con", {2, 1, 0, 1.72, 1.52, 2.75, 2.85}}};
  std::size_t seen = 0;
  for (const auto &entry :
       std::filesystem::directory_iterator(testing::source_dir() / "data/queries")) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    ASSERT_EQ(queries.count(name), 1u) << "a shipped query without a test";
    ++seen;
    const Query &q = queries.at(name);
    ConFile con;
    ASSERT_TRUE(con.read(entry.path().string()));
    auto m = con.motif();
    EXPECT_EQ(m->nsubstructures(), q.substructures);
    EXPECT_EQ(m->ncontacts(), q.contacts);
    EXPECT_EQ(static_cast<int>(m->angle_constraints()->size()), q.angles);
    // Every fragment takes part in a contact between two fragments.
    for (int s = 0; s < m->nsubstructures(); ++s)
      EXPECT_FALSE(m->contacts_for_substructure(s)->empty()) << "substructure " << s;
    const auto &c = *m->contact(0);
    EXPECT_NE(c.from_substructure(), c.to_substructure());
    EXPECT_TRUE(c.test_contact_distance(q.in * q.in, q.radius_from, q.radius_to));
    EXPECT_FALSE(c.test_contact_distance(q.out * q.out, q.radius_from, q.radius_to));
  }
  EXPECT_EQ(seen, queries.size());
}

} // namespace
} // namespace xtalmotif
