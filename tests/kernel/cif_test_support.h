#ifndef XTALMOTIF_TESTS_KERNEL_CIF_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_KERNEL_CIF_TEST_SUPPORT_H

// Helpers shared by the CIF reader, crystal and bond perception tests: small CIF texts written
// in the test, files in a private temporary folder, and atom lookups by label.

#include "crystal/crystal_maker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif::testing {

/// A data block with an orthogonal-or-not cell, the given symmetry lines and atom rows
/// ("label type x y z" or whatever `atom_tags` names).
inline std::string cif_block(const std::string& name, const std::string& cell,
                             const std::string& symmetry, const std::string& atom_tags,
                             const std::string& atom_rows, const std::string& extra = "") {
  std::ostringstream os;
  os << "data_" << name << "\n" << cell << "\n" << symmetry << "\n" << extra << "\n"
     << "loop_\n" << atom_tags << "\n" << atom_rows << "\n";
  return os.str();
}

inline std::string cell_text(double a, double b, double c, double alpha = 90, double beta = 90,
                             double gamma = 90) {
  std::ostringstream os;
  os << "_cell_length_a " << a << "\n_cell_length_b " << b << "\n_cell_length_c " << c
     << "\n_cell_angle_alpha " << alpha << "\n_cell_angle_beta " << beta
     << "\n_cell_angle_gamma " << gamma << "\n";
  return os.str();
}

inline const char* label_type_xyz() {
  return "_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z";
}

inline std::string read_text(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream os;
  os << in.rdbuf();
  return os.str();
}

/// A fresh folder under the system temporary folder, removed when the object goes.
class TempDir {
public:
  TempDir() {
    static std::atomic<int> counter{0};
    auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = std::filesystem::temp_directory_path() /
            ("xtalmotif-test-" + std::to_string(stamp) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path write(const std::string& name, const std::string& text) const {
    auto p = path_ / name;
    std::ofstream out(p, std::ios::binary);
    out << text;
    return p;
  }

private:
  std::filesystem::path path_;
};

/// Where an atom of a crystal is: molecule and atom index.
struct AtomRef {
  int molecule = -1;
  int atom = -1;
  bool found() const { return molecule >= 0; }
};

/// The first atom with this label (asymmetric-unit labels repeat on symmetry copies).
inline AtomRef find_atom(const CrystalMaker& cm, const std::string& label) {
  for (int m = 0; m < cm.nmolecules(); ++m) {
    auto mol = cm.molecule(m);
    for (int a = 0; a < mol->natoms(); ++a)
      if (mol->atom(a)->label() == label)
        return {m, a};
  }
  return {};
}

/// Bond types of an atom's bonds to neighbours of one element, in neighbour order.
inline std::vector<BondType> bond_types_to(const Molecule& m, int atom, const Element& e) {
  std::vector<BondType> out;
  for (int o : m.neighbours(atom))
    if (m.atom(o)->element() == e)
      out.push_back(m.bond_between(atom, o)->type());
  return out;
}

inline int count_type(const std::vector<BondType>& v, BondType t) {
  int n = 0;
  for (BondType x : v)
    n += x == t;
  return n;
}

} // namespace xtalmotif::testing

#endif
