#ifndef XTALMOTIF_TESTS_KERNEL_KERNEL_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_KERNEL_KERNEL_TEST_SUPPORT_H

// Shared by the kernel tests: molecules built atom by atom (atom order written out so that tests
// name atoms by index), scratch folders and files, and atoms and molecules of built crystals.

#include "crystal/crystal_maker.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

namespace xtalmotif::testing {

class MoleculeBuilder {
public:
  int atom(const char* symbol, int charge = 0, int implicit_h = -1) {
    auto a = make_handle<Atom>(Element(symbol), symbol + std::to_string(m_.natoms() + 1), charge);
    if (implicit_h >= 0)
      a->set_implicit_hydrogens(implicit_h);
    return m_.add_atom(a);
  }
  MoleculeBuilder& bond(int a, int b, BondType t = BondType::Single) {
    m_.add_bond(a, b, t);
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
      atom(symbol);
      if (i > 0)
        bond(m_.natoms() - 2, m_.natoms() - 1);
    }
    return *this;
  }
  Molecule& molecule() { return m_; }

private:
  Molecule m_;
};

/// Acetic acid: 0 C methyl, 1 C carboxyl, 2 O carbonyl, 3 O hydroxyl, 4 H on O3, 5-7 H on C0.
inline Molecule acetic_acid() {
  MoleculeBuilder b;
  b.chain("C", 2).atom("O");
  b.atom("O");
  b.atom("H");
  b.bond(1, 2, BondType::Double).bond(1, 3).bond(3, 4).hydrogens(0, 3);
  return b.molecule();
}

/// Acetate without H sites: 0 C methyl (3 implied H), 1 C, 2 O, 3 O-.
inline Molecule acetate_without_h() {
  MoleculeBuilder b;
  b.atom("C", 0, 3);
  b.atom("C");
  b.atom("O");
  b.atom("O", -1);
  b.bond(0, 1).bond(1, 2, BondType::Double).bond(1, 3);
  return b.molecule();
}

/// Ethylcyclohexane skeleton: ring 0-5 (single bonds), 6 on 0, 7 on 6.
inline Molecule ethylcyclohexane() {
  MoleculeBuilder b;
  b.chain("C", 6).bond(5, 0).chain("C", 2).bond(0, 6);
  return b.molecule();
}

inline std::string read_text(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void gzip(const std::filesystem::path& path, const std::string& text) {
  gzFile f = gzopen(path.string().c_str(), "wb");
  gzwrite(f, text.data(), static_cast<unsigned>(text.size()));
  gzclose(f);
}

/// Writes the text, making the folders on the way.
inline void write_text(const std::filesystem::path& p, const std::string& text) {
  std::filesystem::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
}

/// CIF text without its hydrogen atom rows ("H4 H x y z", or type first, "H H1a x y z"), as
/// refined without H sites.
inline std::string without_hydrogen_rows(const std::string& text) {
  std::istringstream in(text);
  std::string out;
  for (std::string line, a, b; std::getline(in, line);)
    if (!(std::istringstream(line) >> a >> b) || a[0] != 'H' || b[0] != 'H' ||
        (a == "H") == (b == "H"))
      out += line + "\n";
  return out;
}

/// A block a lister takes for a structure (it has coordinates) that holds too little to build.
inline std::string listable_block(const std::string& name) {
  return "data_" + name + "\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
                          "_atom_site_fract_z\nC1 0.1 0.2 0.3\n";
}

/// A new empty folder under the system's temporary folder, removed with its contents.
struct ScratchDir {
  ScratchDir() { std::filesystem::create_directories(path); }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::filesystem::path operator/(const std::string& relative) const { return path / relative; }
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     ("xtalmotif-" + std::to_string(std::random_device()()));
};

/// The molecule and index of the first atom with this label; molecule -1 when there is none.
inline std::pair<int, int> find_atom(const CrystalMaker& cm, const std::string& label) {
  for (int m = 0; m < cm.nmolecules(); ++m)
    for (int a = 0; a < cm.molecule(m)->natoms(); ++a)
      if (cm.molecule(m)->atom(a)->label() == label)
        return {m, a};
  return {-1, -1};
}

/// The formulas of a crystal's molecules, sorted.
inline std::vector<std::string> formulas(const CrystalMaker& cm) {
  std::vector<std::string> out;
  for (int m = 0; m < cm.nmolecules(); ++m)
    out.push_back(cm.molecule(m)->formula());
  std::sort(out.begin(), out.end());
  return out;
}

/// Everything a crystal holds, as text, numbers to the last bit: cell and its matrices,
/// operators with their places in the listed ones, texts, flags and notes, and every molecule
/// with the dynamic types of its objects, its atoms and their origins, each atom's neighbours
/// and bonds in order, its bonds and the ring flags. Two crystals a search cannot tell apart
/// have the same dump.
inline std::string dump(const CrystalMaker& c) {
  std::ostringstream os;
  os << std::hexfloat;
  auto point = [&os](const Point& p) { os << ' ' << p[0] << ' ' << p[1] << ' ' << p[2]; };
  auto matrix = [&os](const auto& m) {
    for (int i = 0; i < 9; ++i)
      os << ' ' << m(i / 3, i % 3);
    os << '\n';
  };
  auto list = [&os](const std::vector<int>& v) {
    for (int x : v)
      os << ' ' << x;
    os << ';';
  };
  os << "cell " << c.a() << ' ' << c.b() << ' ' << c.c() << ' ' << c.alpha() << ' ' << c.beta()
     << ' ' << c.gamma() << '\n';
  matrix(c.orthogonal_matrix());
  matrix(c.fractional_matrix());
  os << c.space_group_name() << '|' << c.symmetry_source() << '|' << c.symmetry_replaced() << '\n';
  for (const auto* ops : {&c.symmetry_operators(), &c.listed_operators()})
    for (const auto& op : *ops) {
      matrix(op.rotation());
      point(op.translation());
      os << '\n';
    }
  for (int k = 0; k < static_cast<int>(c.symmetry_operators().size()); ++k) {
    const auto code = c.listed_code(k, Translation());
    os << "code " << code.listed << ' ' << code.translation.a() << ' ' << code.translation.b()
       << ' ' << code.translation.c() << '\n';
  }
  os << c.is_polymeric() << c.has_disorder() << c.has_hydrogen_sites() << ' ' << c.r_factor()
     << '\n';
  for (const auto* notes : {&c.errors(), &c.warnings(), &c.notices()}) {
    for (const auto& n : *notes)
      os << n << '|';
    os << '\n';
  }
  for (int m = 0; m < c.nmolecules(); ++m) {
    const Molecule& mol = *c.molecule(m);
    const auto& origins = c.atom_origins(m);
    os << "molecule " << typeid(mol).name() << ' ' << mol.natoms() << ' ' << origins.size() << '\n';
    for (int a = 0; a < mol.natoms(); ++a) {
      const Atom& at = *mol.atom(a);
      os << typeid(at).name() << ' ' << at.element().code() << ' ' << at.label() << ' '
         << at.formal_charge() << ' ' << at.implicit_hydrogens() << ' ' << mol.is_ring_atom(a);
      if (at.has_site()) {
        point(at.site()->fractional());
        point(at.site()->orthogonal());
        os << ' ' << at.site()->occupancy();
      }
      if (!origins.empty()) {
        const AtomOrigin& o = origins[static_cast<std::size_t>(a)];
        os << " from " << o.site << ' ' << o.op << ' ' << o.translation.a() << ' '
           << o.translation.b() << ' ' << o.translation.c() << ' ' << o.occupancy;
      }
      list(mol.neighbours(a));
      list(mol.bonds_of(a));
      os << '\n';
    }
    for (int b = 0; b < mol.nbonds(); ++b)
      os << "bond " << mol.bond(b)->atom1() << ' ' << mol.bond(b)->atom2() << ' '
         << static_cast<int>(mol.bond(b)->type()) << ' ' << mol.is_ring_bond(b) << '\n';
  }
  return os.str();
}

} // namespace xtalmotif::testing

#endif
