#include "crystal/stored_crystal.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

namespace xtalmotif {

// The stored form: a header of 28 bytes, then the payload.
//
//   magic "XTCR" | byte-order mark 0x01020304 (u32) | format version (u32)
//   | payload length (u64) | digest of the payload (u64, digest_of below)
//
// Numbers are written as they lie in memory: the byte-order mark read back in the other order
// tells a file moved between machines from a damaged one. The payload is, in order:
//
//   cell: a b c alpha beta gamma (f64 x 6)
//   space-group name, symmetry source, symmetry replaced (strings: u32 length, bytes)
//   listed operators: count (u32), each rotation (i32 x 9, by rows) and translation (f64 x 3)
//   flags (u8: 1 polymeric, 2 disorder, 4 hydrogen sites), R factor (f64)
//   errors: count, strings; warnings: count, each a u8 (1 when it is also a notice) and a string
//   molecules: count, each
//     flags (u8: 1 placed in 3D (Molecule3d), 2 atom origins recorded), atom count (u32)
//     atoms: flags (u8: 1 Atom3d, 2 has a site), element code, formal charge, implied
//            hydrogens (i32 x 3), label (string), with a site its fractional and orthogonal
//            coordinates and occupancy (f64 x 7)
//     origins, with flag 2: site, operator, translation (i32 x 5), occupancy (f64)
//     bonds: count, each its two atoms (i32 x 2) and a u8, its type with 128 added when the
//            bond lies on a ring, in the molecule's order
//
// The operator list the symmetry codes are reduced to, each operator's place among the listed
// ones and each molecule's neighbour lists are not stored: they follow from the listed operators
// and the bonds in order exactly as they did when the structure was assembled. The ring flags
// follow from the bonds too, but finding them again was an eighth of the time a load took.

namespace {

static_assert(std::numeric_limits<double>::is_iec559, "the stored form keeps IEEE doubles");

constexpr char kMagic[4] = {'X', 'T', 'C', 'R'};
constexpr std::uint32_t kByteOrderMark = 0x01020304u;
constexpr std::uint32_t kSwappedByteOrderMark = 0x04030201u;
constexpr std::size_t kHeaderSize = 4 + 4 + 4 + 8 + 8;

enum : std::uint8_t { kPolymeric = 1, kDisorder = 2, kHydrogenSites = 4 };
enum : std::uint8_t { kMolecule3d = 1, kHasOrigins = 2 };
enum : std::uint8_t { kAtom3d = 1, kHasSite = 2 };
constexpr std::uint8_t kRingBond = 128;

// The fewest bytes one record of a list can take, so that a count is checked against the bytes
// left before anything is allocated for it.
constexpr std::size_t kMinOperator = 9 * 4 + 3 * 8;
constexpr std::size_t kMinString = 4;
constexpr std::size_t kMinWarning = 1 + kMinString;
constexpr std::size_t kMinMolecule = 1 + 4 + 4;
constexpr std::size_t kMinAtom = 1 + 3 * 4 + kMinString;
constexpr std::size_t kOrigin = 5 * 4 + 8;
constexpr std::size_t kBond = 2 * 4 + 1;

class Writer {
public:
  explicit Writer(std::string& out) : out_(out) {}
  template <class T> void put(T v) {
    static_assert(std::is_trivially_copyable<T>::value, "plain numbers only");
    char bytes[sizeof(T)];
    std::memcpy(bytes, &v, sizeof(T));
    out_.append(bytes, sizeof(T));
  }
  void count(std::size_t n) {
    if (n > std::numeric_limits<std::uint32_t>::max())
      throw std::length_error("store_crystal: a list of " + std::to_string(n) +
                              " items is too long to store");
    put(static_cast<std::uint32_t>(n));
  }
  void text(const std::string& s) {
    count(s.size());
    out_.append(s);
  }
  void point(const Point& p) {
    for (int i = 0; i < 3; ++i)
      put(p[i]);
  }

private:
  std::string& out_;
};

class Reader {
public:
  Reader(const char* begin, const char* end, const std::string& where)
      : p_(begin), end_(end), where_(where) {}
  template <class T> T get() {
    need(sizeof(T));
    T v;
    std::memcpy(&v, p_, sizeof(T));
    p_ += sizeof(T);
    return v;
  }
  /// A count of records of at least `min_bytes` each, no more than the bytes left can hold.
  std::size_t count(std::size_t min_bytes) {
    const std::size_t n = get<std::uint32_t>();
    if (n > left() / min_bytes)
      damaged("a list of " + std::to_string(n) + " items runs past the end");
    return n;
  }
  std::string text() {
    const std::size_t n = get<std::uint32_t>();
    need(n);
    std::string s(p_, n);
    p_ += n;
    return s;
  }
  Point point() {
    Point p;
    for (int i = 0; i < 3; ++i)
      p[i] = get<double>();
    return p;
  }
  std::size_t left() const { return static_cast<std::size_t>(end_ - p_); }
  [[noreturn]] void damaged(const std::string& why) const {
    throw StoredCrystalError(where_ + ": stored structure is damaged (" + why + ")");
  }

private:
  void need(std::size_t n) const {
    if (n > left())
      damaged("it ends inside a record");
  }
  const char* p_;
  const char* end_;
  const std::string& where_;
};

// A 64-bit digest of the payload, eight bytes at a time: the byte-at-a-time digest of CIF text
// (ContentDigest) would take as long as the rest of the loading. Each step, (h ^ word) * odd
// constant and a rotation, is one-to-one in h for a given word and in the word for a given h, so
// a change confined to one word always changes the digest; the last step spreads every bit.
std::uint64_t digest_of(const char* data, std::size_t n) {
  constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15ull;
  std::uint64_t h = 0xCBF29CE484222325ull ^ n;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, data + i, 8);
    h = (h ^ w) * kPrime;
    h = (h << 29) | (h >> 35);
  }
  for (; i < n; ++i)
    h = (h ^ static_cast<unsigned char>(data[i])) * kPrime;
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDull;
  h ^= h >> 33;
  return h;
}

void put_operator(Writer& w, const CrystalSymmetryOperator& op) {
  for (int r = 0; r < 3; ++r)
    for (int k = 0; k < 3; ++k)
      w.put(static_cast<std::int32_t>(op.rotation()(r, k)));
  w.point(op.translation());
}

CrystalSymmetryOperator get_operator(Reader& r) {
  Matrix<int, 3, 3> rot;
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 3; ++k)
      rot(i, k) = r.get<std::int32_t>();
  const Point t = r.point();
  return CrystalSymmetryOperator(rot, t);
}

void put_molecule(Writer& w, const Molecule& m, const std::vector<AtomOrigin>& origins) {
  w.put(static_cast<std::uint8_t>((dynamic_cast<const Molecule3d*>(&m) ? kMolecule3d : 0) |
                                  (origins.empty() ? 0 : kHasOrigins)));
  w.count(m.atoms().size());
  for (const auto& a : m.atoms()) {
    w.put(static_cast<std::uint8_t>((dynamic_cast<const Atom3d*>(a.get()) ? kAtom3d : 0) |
                                    (a->has_site() ? kHasSite : 0)));
    w.put(static_cast<std::int32_t>(a->element().code()));
    w.put(static_cast<std::int32_t>(a->formal_charge()));
    w.put(static_cast<std::int32_t>(a->implicit_hydrogens()));
    w.text(a->label());
    if (a->has_site()) {
      w.point(a->site()->fractional());
      w.point(a->site()->orthogonal());
      w.put(a->site()->occupancy());
    }
  }
  for (const auto& o : origins) {
    for (int v : {o.site, o.op, o.translation[0], o.translation[1], o.translation[2]})
      w.put(static_cast<std::int32_t>(v));
    w.put(o.occupancy);
  }
  w.count(m.bonds().size());
  for (int i = 0; i < m.nbonds(); ++i) {
    const Bond& b = *m.bonds()[static_cast<std::size_t>(i)];
    w.put(static_cast<std::int32_t>(b.atom1()));
    w.put(static_cast<std::int32_t>(b.atom2()));
    w.put(static_cast<std::uint8_t>(static_cast<std::uint8_t>(b.type()) |
                                    (m.is_ring_bond(i) ? kRingBond : 0)));
  }
}

BondType bond_type(std::uint8_t t, Reader& r) {
  switch (static_cast<BondType>(t)) {
  case BondType::Unknown:
  case BondType::Single:
  case BondType::Double:
  case BondType::Triple:
  case BondType::Quadruple:
  case BondType::Aromatic:
  case BondType::Delocalised:
  case BondType::Pi: return static_cast<BondType>(t);
  }
  r.damaged("bond type " + std::to_string(t));
}

void get_molecule(Reader& r, CrystalMaker& crystal) {
  const auto flags = r.get<std::uint8_t>();
  THandle<Molecule> m = (flags & kMolecule3d) ? THandle<Molecule>(make_handle<Molecule3d>())
                                              : make_handle<Molecule>();
  const std::size_t natoms = r.count(kMinAtom);
  m->reserve_atoms(static_cast<int>(natoms));
  for (std::size_t i = 0; i < natoms; ++i) {
    const auto atom_flags = r.get<std::uint8_t>();
    const auto code = r.get<std::int32_t>();
    if (code < 0 || code >= Element::ncodes)
      r.damaged("element code " + std::to_string(code));
    THandle<Atom> a = (atom_flags & kAtom3d) ? THandle<Atom>(make_handle<Atom3d>())
                                             : make_handle<Atom>();
    a->set_element(Element(code));
    a->set_formal_charge(r.get<std::int32_t>());
    a->set_implicit_hydrogens(r.get<std::int32_t>());
    a->set_label(r.text());
    if (atom_flags & kHasSite) {
      const Point f = r.point();
      const Point o = r.point();
      a->set_site(make_handle<Site>(f, o, r.get<double>()));
    }
    m->add_atom(a);
  }
  std::vector<AtomOrigin> origins;
  if (flags & kHasOrigins) {
    if (natoms > r.left() / kOrigin)
      r.damaged("atom origins run past the end");
    const int nops = static_cast<int>(crystal.symmetry_operators().size());
    origins.resize(natoms);
    for (AtomOrigin& o : origins) {
      o.site = r.get<std::int32_t>();
      o.op = r.get<std::int32_t>();
      if (o.op < 0 || o.op >= nops)
        r.damaged("operator " + std::to_string(o.op) + " of " + std::to_string(nops));
      for (int k = 0; k < 3; ++k)
        o.translation[k] = r.get<std::int32_t>();
      o.occupancy = r.get<double>();
    }
  }
  const std::size_t nbonds = r.count(kBond);
  std::vector<std::pair<int, int>> pairs(nbonds);
  std::vector<BondType> types(nbonds);
  std::vector<char> ring(nbonds);
  for (std::size_t b = 0; b < nbonds; ++b) {
    pairs[b].first = r.get<std::int32_t>();
    pairs[b].second = r.get<std::int32_t>();
    const auto t = r.get<std::uint8_t>();
    types[b] = bond_type(static_cast<std::uint8_t>(t & ~kRingBond), r);
    ring[b] = (t & kRingBond) ? 1 : 0;
  }
  // In their order, so that every atom's neighbours come in the order they came in.
  m->add_bonds(pairs, types, ring);
  crystal.add_molecule(m, std::move(origins));
}

void get_payload(Reader& r, CrystalMaker& c) {
  std::array<double, 6> cell;
  for (double& v : cell)
    v = r.get<double>();
  c.set_cell(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]);
  c.set_space_group_name(r.text());
  std::string source = r.text();
  c.set_symmetry_source(std::move(source), r.text());
  std::vector<CrystalSymmetryOperator> listed(r.count(kMinOperator));
  for (auto& op : listed)
    op = get_operator(r);
  c.set_symmetry_operators(listed);
  const auto flags = r.get<std::uint8_t>();
  c.set_polymeric(flags & kPolymeric);
  c.set_disorder(flags & kDisorder);
  c.set_has_hydrogen_sites(flags & kHydrogenSites);
  c.set_r_factor(r.get<double>());
  for (std::size_t n = r.count(kMinString); n > 0; --n)
    c.add_error(r.text());
  for (std::size_t n = r.count(kMinWarning); n > 0; --n) {
    const bool notice = r.get<std::uint8_t>() != 0;
    if (notice)
      c.add_notice(r.text());
    else
      c.add_warning(r.text());
  }
  for (std::size_t n = r.count(kMinMolecule); n > 0; --n)
    get_molecule(r, c);
  if (r.left() != 0)
    r.damaged(std::to_string(r.left()) + " bytes after the last molecule");
}

} // namespace

std::string store_crystal(const CrystalMaker& c) {
  std::string out(kHeaderSize, '\0');
  Writer w(out);
  for (double v : {c.a(), c.b(), c.c(), c.alpha(), c.beta(), c.gamma()})
    w.put(v);
  w.text(c.space_group_name());
  w.text(c.symmetry_source());
  w.text(c.symmetry_replaced());
  w.count(c.listed_operators().size());
  for (const auto& op : c.listed_operators())
    put_operator(w, op);
  w.put(static_cast<std::uint8_t>((c.is_polymeric() ? kPolymeric : 0) |
                                  (c.has_disorder() ? kDisorder : 0) |
                                  (c.has_hydrogen_sites() ? kHydrogenSites : 0)));
  w.put(c.r_factor());
  w.count(c.errors().size());
  for (const auto& e : c.errors())
    w.text(e);
  // Every notice is also a warning, in the same order: each warning says whether it is the next
  // notice, and the two lists come back as they were.
  const std::vector<std::string>& notices = c.notices();
  std::size_t next_notice = 0;
  w.count(c.warnings().size());
  for (const auto& warning : c.warnings()) {
    const bool notice = next_notice < notices.size() && notices[next_notice] == warning;
    next_notice += notice ? 1 : 0;
    w.put(static_cast<std::uint8_t>(notice ? 1 : 0));
    w.text(warning);
  }
  if (next_notice != notices.size())
    throw std::logic_error("store_crystal: a notice is missing from the warnings");
  w.count(static_cast<std::size_t>(c.nmolecules()));
  for (int i = 0; i < c.nmolecules(); ++i)
    put_molecule(w, *c.molecule(i), c.atom_origins(i));

  const std::uint64_t length = out.size() - kHeaderSize;
  const std::uint64_t digest = digest_of(out.data() + kHeaderSize, length);
  char* h = &out[0];
  std::memcpy(h, kMagic, 4);
  std::memcpy(h + 4, &kByteOrderMark, 4);
  std::memcpy(h + 8, &stored_crystal_format_version, 4);
  std::memcpy(h + 12, &length, 8);
  std::memcpy(h + 20, &digest, 8);
  return out;
}

THandle<CrystalMaker> load_crystal(std::string_view bytes, const std::string& where) {
  auto refuse = [&where](const std::string& why) -> StoredCrystalError {
    return StoredCrystalError(where + ": stored structure " + why);
  };
  if (bytes.size() < kHeaderSize)
    throw refuse("is cut short (" + std::to_string(bytes.size()) + " bytes)");
  if (std::memcmp(bytes.data(), kMagic, 4) != 0)
    throw refuse("is not a stored crystal structure");
  std::uint32_t order = 0, version = 0;
  std::uint64_t length = 0, digest = 0;
  std::memcpy(&order, bytes.data() + 4, 4);
  std::memcpy(&version, bytes.data() + 8, 4);
  std::memcpy(&length, bytes.data() + 12, 8);
  std::memcpy(&digest, bytes.data() + 20, 8);
  if (order == kSwappedByteOrderMark)
    throw refuse("was written on a machine of the other byte order");
  if (order != kByteOrderMark)
    throw refuse("is damaged (byte-order mark " + std::to_string(order) + ")");
  if (version != stored_crystal_format_version)
    throw refuse("has format version " + std::to_string(version) + ", this program reads version " +
                 std::to_string(stored_crystal_format_version));
  const std::size_t payload = bytes.size() - kHeaderSize;
  if (length != payload)
    throw refuse(length > payload ? "is cut short (" + std::to_string(payload) + " of " +
                                        std::to_string(length) + " bytes)"
                                  : "is damaged (" + std::to_string(payload - length) +
                                        " bytes past its end)");
  if (digest_of(bytes.data() + kHeaderSize, payload) != digest)
    throw refuse("is damaged (digest mismatch)");

  auto crystal = make_handle<CrystalMaker>();
  Reader r(bytes.data() + kHeaderSize, bytes.data() + bytes.size(), where);
  try {
    get_payload(r, *crystal);
  } catch (const StoredCrystalError&) {
    throw;
  } catch (const std::invalid_argument& e) { // a cell or bond the classes refuse
    r.damaged(e.what());
  } catch (const std::out_of_range& e) {
    r.damaged(e.what());
  }
  return crystal;
}

} // namespace xtalmotif
