// A screen index hands each entry its own screen record, whether the record is asked for by the
// entry's place in the index (read with the records around it) or by its identifier, and in
// whatever order the entries are asked for.

#include "db/aser_database.h"

#include "kernel_test_support.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;

// A block of one atom of `element` in a cubic cell.
std::string one_atom_block(int k, const std::string& element) {
  return "data_e" + std::to_string(k) +
         "\n_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\n_cell_angle_alpha 90\n"
         "_cell_angle_beta 90\n_cell_angle_gamma 90\nloop_\n_atom_site_label\n"
         "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n" +
         element + "1 " + element + " 0.1 0.2 0.3\n";
}

TEST(ScreenIndexRecords, EachEntryGetsItsOwnRecordInAnyOrder) {
  testing::ScratchDir dir;
  // More entries than the index reads records of at a time, and than it keeps chunks of; the
  // element cycles so that neighbouring entries have different records.
  const std::vector<std::string> elements = {"C", "Na", "Cl", "Fe", "Cu"};
  const int n = 5003;
  std::string text;
  for (int k = 0; k < n; ++k)
    text += one_atom_block(k, elements[static_cast<std::size_t>(k) % elements.size()]);
  testing::write_text(dir / "cifs/many.cif", text);
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / "many.idx").string());
  const AserDatabase db((dir / "many.idx").string());
  ASSERT_EQ(db.nentries(), n);

  // The record of each element, asked for by identifier, and a pattern that only it satisfies:
  // its value of every bit on which the records of the elements differ.
  std::vector<Aser> records;
  for (std::size_t e = 0; e < elements.size(); ++e)
    records.push_back(*db.aser(DatabaseEntryIdentifier("e" + std::to_string(e))));
  std::vector<AserBitScreens> only(elements.size());
  for (int bit = 0; bit <= Aser::max_bit; ++bit)
    for (std::size_t e = 0; e < elements.size(); ++e)
      if (std::any_of(records.begin(), records.end(),
                      [&](const Aser& r) { return r.bit(bit) != records[e].bit(bit); }))
        only[e].screens[bit] = records[e].bit(bit);
  for (std::size_t e = 0; e < elements.size(); ++e)
    ASSERT_FALSE(only[e].screens.empty()) << elements[e];

  // Forwards, backwards, and leaping about the whole index.
  std::vector<int> order;
  for (int i = 0; i < n; ++i)
    order.push_back(i);
  for (int i = n - 1; i >= 0; --i)
    order.push_back(i);
  for (int i = 0; i < n; ++i)
    order.push_back(static_cast<int>((static_cast<long long>(i) * 3571) % n));
  for (int i : order) {
    const std::size_t own = static_cast<std::size_t>(i) % elements.size();
    for (std::size_t e = 0; e < elements.size(); ++e)
      ASSERT_EQ(db.screens_agree(i, only[e]), e == own) << "entry " << i << ", " << elements[e];
  }
  const DatabaseEntryIdentifier last("e" + std::to_string(n - 1));
  EXPECT_EQ(*db.aser(last), records[static_cast<std::size_t>(n - 1) % elements.size()]);
}

} // namespace
} // namespace xtalmotif
