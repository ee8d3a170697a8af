#ifndef XTALMOTIF_TESTS_KERNEL_KERNEL_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_KERNEL_KERNEL_TEST_SUPPORT_H

// Shared by the kernel tests: molecules built atom by atom (atom order written out so that tests
// name atoms by index), small CIF texts, scratch folders, and atom lookups by label.

#include "kernel/crystal_maker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif::testing {

class MoleculeBuilder {
public:
  int atom(const char* symbol, int formal_charge = 0) {
    return molecule_.add_atom(make_handle<Atom>(
        Element(symbol), std::string(symbol) + std::to_string(n_++), formal_charge));
  }
  /// An atom with implied hydrogens (a structure refined without H sites).
  int atom_with_implicit_h(const char* symbol, int implicit_h) {
    int i = atom(symbol);
    molecule_.atom(i)->set_implicit_hydrogens(implicit_h);
    return i;
  }
  MoleculeBuilder& bond(int a, int b, BondType t = BondType::Single) {
    molecule_.add_bond(a, b, t);
    return *this;
  }
  MoleculeBuilder& hydrogens(int to, int n) {
    for (int i = 0; i < n; ++i)
      bond(to, atom("H"));
    return *this;
  }
  /// n atoms of one element in a chain of single bonds.
  MoleculeBuilder& chain(const char* symbol, int n) {
    for (int i = 0; i < n; ++i) {
      int a = atom(symbol);
      if (i > 0)
        bond(a - 1, a);
    }
    return *this;
  }
  Molecule& molecule() { return molecule_; }

private:
  Molecule molecule_;
  int n_ = 1;
};

/// Acetic acid: 0 C methyl, 1 C carboxyl, 2 O carbonyl, 3 O hydroxyl, 4 H on O3, 5-7 H on C0.
inline Molecule acetic_acid() {
  MoleculeBuilder b;
  int c0 = b.atom("C"), c1 = b.atom("C"), o2 = b.atom("O"), o3 = b.atom("O"), h4 = b.atom("H");
  b.bond(c0, c1).bond(c1, o2, BondType::Double).bond(c1, o3).bond(o3, h4).hydrogens(c0, 3);
  return b.molecule();
}

/// Acetate without H sites: 0 C methyl (3 implied H), 1 C, 2 O, 3 O-.
inline Molecule acetate_without_h() {
  MoleculeBuilder b;
  int c0 = b.atom_with_implicit_h("C", 3), c1 = b.atom("C"), o2 = b.atom("O"), o3 = b.atom("O", -1);
  b.bond(c0, c1).bond(c1, o2, BondType::Double).bond(c1, o3);
  return b.molecule();
}

/// Benzene: ring atoms 0-5 by aromatic bonds in ring order, H 6+i on C i when asked.
inline Molecule benzene(bool with_h = false) {
  MoleculeBuilder b;
  for (int i = 0; i < 6; ++i)
    b.atom("C");
  for (int i = 0; i < 6; ++i)
    b.bond(i, (i + 1) % 6, BondType::Aromatic);
  for (int i = 0; with_h && i < 6; ++i)
    b.hydrogens(i, 1);
  return b.molecule();
}

/// Ethylcyclohexane skeleton: ring 0-5 (single bonds), 6 on 0, 7 on 6.
inline Molecule ethylcyclohexane() {
  MoleculeBuilder b;
  b.chain("C", 6).bond(5, 0);
  int c6 = b.atom("C"), c7 = b.atom("C");
  b.bond(0, c6).bond(c6, c7);
  return b.molecule();
}

/// A linear alkane of n carbons (n > 1), the carbons first, then the hydrogens carbon by carbon.
inline Molecule alkane(int n) {
  MoleculeBuilder b;
  b.chain("C", n);
  for (int i = 0; i < n; ++i)
    b.hydrogens(i, (i == 0 || i == n - 1) ? 3 : 2);
  return b.molecule();
}

/// A data block: cell, symmetry lines, anything else, and one loop of atom rows.
inline std::string cif_block(const std::string& name, const std::string& cell,
                             const std::string& symmetry, const std::string& atom_tags,
                             const std::string& atom_rows, const std::string& extra = "") {
  return "data_" + name + "\n" + cell + "\n" + symmetry + "\n" + extra + "\nloop_\n" + atom_tags +
         "\n" + atom_rows + "\n";
}

inline std::string cell_text(double a, double b, double c, double alpha = 90, double beta = 90,
                             double gamma = 90) {
  std::ostringstream os;
  os << "_cell_length_a " << a << "\n_cell_length_b " << b << "\n_cell_length_c " << c
     << "\n_cell_angle_alpha " << alpha << "\n_cell_angle_beta " << beta
     << "\n_cell_angle_gamma " << gamma << "\n";
  return os.str();
}

inline std::string label_type_xyz(const std::string& more = "") {
  return "_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z" + more;
}

/// A block a lister takes for a structure (it has coordinates) that holds too little to build.
inline std::string listable_block(const std::string& name) {
  return "data_" + name +
         "\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z\nC1 0.1 0.2 0.3\n";
}

/// Pa-3 (No. 205): twelve proper operations, then the same through the inversion centre.
inline std::vector<CrystalSymmetryOperator> pa3_operators() {
  std::vector<CrystalSymmetryOperator> ops;
  for (const char* xyz : {"x,y,z", "-x+1/2,-y,z+1/2", "-x,y+1/2,-z+1/2", "x+1/2,-y+1/2,-z",
                          "z,x,y", "z+1/2,-x+1/2,-y", "-z+1/2,-x,y+1/2", "-z,x+1/2,-y+1/2",
                          "y,z,x", "-y,z+1/2,-x+1/2", "y+1/2,-z+1/2,-x", "-y+1/2,-z,x+1/2"})
    ops.push_back(CrystalSymmetryOperator::from_xyz(xyz));
  for (int k = 0; k < 12; ++k) {
    Matrix<int, 3, 3> r;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        r(i, j) = -ops[k].rotation()(i, j);
    ops.emplace_back(r, Point() - ops[k].translation());
  }
  return ops;
}

inline std::string read_text(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Writes the text, making the folders on the way.
inline void write_text(const std::filesystem::path& p, const std::string& text) {
  if (p.has_parent_path())
    std::filesystem::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
}

/// A new empty folder under the system's temporary folder, removed with its contents.
class ScratchDir {
public:
  ScratchDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("xtalmotif-kernel-" + std::to_string(rd()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& relative) const { return path_ / relative; }

private:
  std::filesystem::path path_;
};

struct AtomRef {
  int molecule = -1;
  int atom = -1;
  bool found() const { return molecule >= 0; }
};

/// The first atom with this label.
inline AtomRef find_atom(const CrystalMaker& cm, const std::string& label) {
  for (int m = 0; m < cm.nmolecules(); ++m)
    for (int a = 0; a < cm.molecule(m)->natoms(); ++a)
      if (cm.molecule(m)->atom(a)->label() == label)
        return {m, a};
  return {};
}

/// The formulas of a crystal's molecules, sorted.
inline std::vector<std::string> formulas(const CrystalMaker& cm) {
  std::vector<std::string> out;
  for (int m = 0; m < cm.nmolecules(); ++m)
    out.push_back(cm.molecule(m)->formula());
  std::sort(out.begin(), out.end());
  return out;
}

} // namespace xtalmotif::testing

#endif
