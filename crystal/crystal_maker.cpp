#include "crystal/crystal_maker.h"

#include <gemmi/symmetry.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace xtalmotif {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Translations in space-group operators are multiples of 1/24 (1/8 in some origin shifts);
// decimals such as 0.3333 or 0.1667 are the same fractions written to four places.
double snap_translation(double t) {
  double n = std::round(t * 24.0);
  if (std::fabs(t * 24.0 - n) < 0.05)
    return n / 24.0;
  return t;
}

double wrap_unit(double t) {
  double w = t - std::floor(t);
  if (w >= 1.0 - 1e-9)
    w = 0.0;
  return w;
}

std::string fraction_text(double t) {
  for (int den : {1, 2, 3, 4, 6, 8, 12, 24}) {
    double num = t * den;
    long n = std::lround(num);
    if (std::fabs(num - n) < 1e-6) {
      if (den == 1)
        return std::to_string(n);
      return std::to_string(n) + "/" + std::to_string(den);
    }
  }
  std::ostringstream os;
  os << t;
  return os.str();
}

[[noreturn]] void bad_operator(const std::string& text, const std::string& why) {
  throw std::invalid_argument("symmetry operator '" + text + "': " + why);
}

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_numeric(char c) { return is_digit(c) || c == '.'; }
// A character gemmi's triplet reader takes in an operator (x, y and z in either case).
bool is_triplet_char(char c) {
  const char l = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return is_blank(c) || is_digit(c) || (l >= 'x' && l <= 'z') ||
         std::string_view("+-*/,").find(c) != std::string_view::npos;
}

// Copies the number at row[i] (and its denominator, if one follows) to `out` as gemmi reads
// it, moving i past it; a translation that is no multiple of 1/24 goes to `shift` instead.
void number_in_24ths(const std::string& text, const std::string& row, std::size_t& i,
                     std::string& out, double& shift) {
  std::size_t j = i;
  while (j < row.size() && is_numeric(row[j]))
    ++j;
  std::size_t slash = j;
  if (j < row.size() && row[j] == '/')
    for (++j; j < row.size() && is_digit(row[j]);)
      ++j;
  const std::string_view token(row.data() + i, j - i);
  double num = 0, den = 1;
  auto read = [&](std::size_t from, std::size_t to, double* v) {
    const auto r =
        std::from_chars(row.data() + from, row.data() + to, *v, std::chars_format::fixed);
    if (r.ec != std::errc() || r.ptr != row.data() + to)
      bad_operator(text, "cannot read number '" + std::string(token) + "'");
  };
  read(i, slash, &num);
  if (slash < j)
    read(slash + 1, j, &den);
  if (den == 0)
    bad_operator(text, "zero denominator");
  const double in24ths = num / den * 24.0;
  if (token.find('.') == std::string_view::npos && den <= 24 && 24 % static_cast<long>(den) == 0) {
    out += token; // gemmi reads it as it stands
  } else if (std::fabs(in24ths - std::round(in24ths)) < 0.05) {
    out += std::to_string(std::lround(in24ths)) + "/24";
  } else {
    if (j < row.size() && row[j] != '+' && row[j] != '-') // "0.3*x", "0.3x"
      bad_operator(text, "cannot read '" + std::string(token) + "' as a translation");
    int sign = 1;
    for (std::size_t k = i; k > 0 && (row[k - 1] == '+' || row[k - 1] == '-'); --k)
      sign = row[k - 1] == '-' ? -sign : sign;
    shift += sign * num / den;
    out += '0';
  }
  i = j;
}

// The operator as gemmi's triplet reader takes it. What that reader does not read is rewritten
// here: quotes surviving from a CIF value; rows separated by blanks only ("-x 1/2+y -z", in some
// old files); blanks inside a row ("1 / 2"); and decimals ("0.5+x", "z+0.3333"), which are the
// fractions of a 24th written to a few places and become those fractions. A decimal that is no
// multiple of 1/24 (an origin shift such as "-x+0.0238095") cannot be said in 24ths: it is left
// out of the text and returned in `shift`, by row, to be added to gemmi's translation.
std::string as_triplet(const std::string& text, std::array<double, 3>& shift) {
  std::string s;
  for (char c : text) {
    if (c == '\'' || c == '"')
      continue;
    if (!is_triplet_char(c) && c != '.')
      bad_operator(text, std::string("unexpected character '") + c + "'");
    s += c;
  }
  std::vector<std::string> rows(1);
  const bool commas = s.find(',') != std::string::npos;
  bool blank = false;
  for (char c : s) {
    if (commas ? c == ',' : is_blank(c)) {
      if (commas || !rows.back().empty())
        rows.emplace_back();
    } else if (is_blank(c)) {
      blank = true;
    } else {
      if (blank && is_numeric(c) && !rows.back().empty() && is_numeric(rows.back().back()))
        bad_operator(text, "terms must be joined by + or -"); // "1 2" is not 12
      rows.back() += c;
    }
    blank = blank && is_blank(c);
  }
  if (!commas && rows.back().empty())
    rows.pop_back();
  if (rows.size() != 3)
    bad_operator(text, "expected three comma-separated components");
  std::string out;
  shift = {0, 0, 0};
  for (std::size_t r = 0; r < 3; ++r) {
    const std::string& row = rows[r];
    if (!out.empty())
      out += ',';
    if (row.empty())
      bad_operator(text, "empty component");
    for (std::size_t i = 0; i < row.size();) {
      if (!is_numeric(row[i])) {
        out += row[i++];
        continue;
      }
      number_in_24ths(text, row, i, out, shift[r]);
    }
  }
  return out;
}

} // namespace

CrystalSymmetryOperator::CrystalSymmetryOperator()
    : rotation_(Matrix<int, 3, 3>::identity()), translation_(0, 0, 0) {}

CrystalSymmetryOperator::CrystalSymmetryOperator(const Matrix<int, 3, 3>& rotation,
                                                 const Point& translation)
    : rotation_(rotation), translation_(translation) {}

CrystalSymmetryOperator CrystalSymmetryOperator::from_xyz(const std::string& text) {
  gemmi::Op op;
  std::array<double, 3> shift{0, 0, 0};
  // Most operators are written as gemmi reads them; only those are given to it as they stand.
  const bool plain = std::count(text.begin(), text.end(), ',') == 2 &&
                     std::all_of(text.begin(), text.end(), is_triplet_char);
  try {
    bool read = false;
    if (plain) {
      try {
        op = gemmi::parse_triplet(text);
        read = true;
      } catch (const std::runtime_error&) { // "1/42", "1 / 2": read as rewritten below
      }
    }
    if (!read)
      op = gemmi::parse_triplet(as_triplet(text, shift));
  } catch (const std::invalid_argument&) {
    throw;
  } catch (const std::exception& e) {
    bad_operator(text, e.what());
  }
  constexpr int den = gemmi::Op::DEN;
  Matrix<int, 3, 3> rot;
  Point t;
  for (int r = 0; r < 3; ++r) {
    for (int k = 0; k < 3; ++k) {
      if (op.rot[r][k] % den != 0)
        bad_operator(text, "non-integer coefficient");
      rot(r, k) = op.rot[r][k] / den;
    }
    t[r] = static_cast<double>(op.tran[r]) / den + shift[r];
  }
  const int det = op.det_rot() / (den * den * den);
  if (det != 1 && det != -1)
    bad_operator(text, "the rotation part is not a symmetry operation (determinant " +
                           std::to_string(det) + ")");
  return CrystalSymmetryOperator(rot, t);
}

Point CrystalSymmetryOperator::apply(const Point& f) const {
  Point out;
  for (int i = 0; i < 3; ++i) {
    double v = translation_[i];
    for (int j = 0; j < 3; ++j)
      v += rotation_(i, j) * f[j];
    out[i] = v;
  }
  return out;
}

bool CrystalSymmetryOperator::is_identity() const {
  return rotation_ == Matrix<int, 3, 3>::identity() && translation_[0] == 0.0 &&
         translation_[1] == 0.0 && translation_[2] == 0.0;
}

std::string CrystalSymmetryOperator::to_xyz() const {
  std::string out;
  for (int r = 0; r < 3; ++r) {
    std::string row;
    for (int k = 0; k < 3; ++k) {
      int c = rotation_(r, k);
      if (c == 0)
        continue;
      if (c < 0)
        row += '-';
      else if (!row.empty())
        row += '+';
      if (std::abs(c) != 1)
        row += std::to_string(std::abs(c));
      row += static_cast<char>('x' + k);
    }
    double t = translation_[r];
    if (t != 0.0) {
      std::string f = fraction_text(std::fabs(t));
      row += (t < 0 ? "-" : (row.empty() ? "" : "+")) + f;
    }
    if (row.empty())
      row = "0";
    if (r)
      out += ',';
    out += row;
  }
  return out;
}

bool CrystalSymmetryOperator::operator==(const CrystalSymmetryOperator& o) const {
  if (!(rotation_ == o.rotation_))
    return false;
  for (int i = 0; i < 3; ++i)
    if (std::fabs(translation_[i] - o.translation_[i]) > 1e-6)
      return false;
  return true;
}

// ---------------------------------------------------------------------------------------------

CrystalMaker::CrystalMaker() {
  operators_.emplace_back();
  listed_.emplace_back();
  listed_of_.emplace_back();
}

void CrystalMaker::set_cell(double a, double b, double c, double alpha, double beta, double gamma) {
  for (double v : {a, b, c, alpha, beta, gamma})
    if (!std::isfinite(v) || v <= 0.0)
      throw std::invalid_argument("cell parameters must be positive numbers");
  if (alpha >= 180.0 || beta >= 180.0 || gamma >= 180.0)
    throw std::invalid_argument("cell angles must lie below 180 degrees");
  double ca = std::cos(alpha * kPi / 180.0), cb = std::cos(beta * kPi / 180.0),
         cg = std::cos(gamma * kPi / 180.0), sg = std::sin(gamma * kPi / 180.0);
  // Exact right angles keep exact zeros in the matrix.
  if (alpha == 90.0)
    ca = 0.0;
  if (beta == 90.0)
    cb = 0.0;
  if (gamma == 90.0) {
    cg = 0.0;
    sg = 1.0;
  }
  double root = 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
  if (!(root > 1e-12))
    throw std::invalid_argument("cell angles do not make a cell of positive volume");
  double v = a * b * c * std::sqrt(root);
  Matrix<double, 3, 3> m;
  m(0, 0) = a;
  m(0, 1) = b * cg;
  m(0, 2) = c * cb;
  m(1, 1) = b * sg;
  m(1, 2) = c * (ca - cb * cg) / sg;
  m(2, 2) = v / (a * b * sg);
  cell_ = {{a, b, c, alpha, beta, gamma}};
  orth_ = m;
  frac_ = inverse(m);
}

double CrystalMaker::volume() const { return determinant(orth_); }

double CrystalMaker::metric_change(const CrystalSymmetryOperator& op) const {
  const Matrix<double, 3, 3> g = orth_.transpose() * orth_;
  const double scale = std::max({g(0, 0), g(1, 1), g(2, 2)});
  Matrix<double, 3, 3> r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      r(i, j) = op.rotation()(i, j);
  const Matrix<double, 3, 3> h = r.transpose() * g * r;
  double change = 0;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      change = std::max(change, std::fabs(h(i, j) - g(i, j)) / scale);
  return change;
}

void CrystalMaker::set_symmetry_operators(const std::vector<CrystalSymmetryOperator>& ops) {
  // Most structures of a collection share a handful of space groups: the tables made from an
  // operator list are kept for the last few lists met on this thread, and a list given again,
  // to the last bit of every translation, takes them as they are.
  struct Tables {
    std::vector<CrystalSymmetryOperator> given, operators, listed;
    std::vector<ListedCode> listed_of;
  };
  thread_local std::array<Tables, 8> recent;
  thread_local std::size_t next = 0;
  auto same = [](const CrystalSymmetryOperator& a, const CrystalSymmetryOperator& b) {
    return a.rotation() == b.rotation() &&
           std::memcmp(&a.translation()[0], &b.translation()[0], sizeof(double)) == 0 &&
           std::memcmp(&a.translation()[1], &b.translation()[1], sizeof(double)) == 0 &&
           std::memcmp(&a.translation()[2], &b.translation()[2], sizeof(double)) == 0;
  };
  for (const Tables& t : recent)
    if (!t.operators.empty() && t.given.size() == ops.size() &&
        std::equal(ops.begin(), ops.end(), t.given.begin(), same)) {
      operators_ = t.operators;
      listed_ = t.listed;
      listed_of_ = t.listed_of;
      return;
    }
  make_operator_tables(ops);
  recent[next] = Tables{ops, operators_, listed_, listed_of_};
  next = (next + 1) % recent.size();
}

void CrystalMaker::make_operator_tables(const std::vector<CrystalSymmetryOperator>& ops) {
  // Repeats are found by comparing rotations as packed keys first: a cubic group's 192
  // operators would otherwise be compared pair by pair in full.
  auto rotation_key = [](const CrystalSymmetryOperator& op) {
    std::uint64_t k = 0;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        k = (k << 7) | static_cast<std::uint64_t>(op.rotation()(i, j) & 0x7f);
    return k;
  };
  std::vector<CrystalSymmetryOperator> out;
  std::vector<std::uint64_t> keys;
  out.emplace_back();
  keys.push_back(rotation_key(out.back()));
  out.reserve(ops.size() + 1);
  keys.reserve(ops.size() + 1);
  for (const auto& op : ops) {
    Point t = op.translation();
    for (int i = 0; i < 3; ++i)
      t[i] = wrap_unit(snap_translation(t[i]));
    CrystalSymmetryOperator reduced(op.rotation(), t);
    const std::uint64_t key = rotation_key(reduced);
    bool seen = false;
    for (std::size_t i = 0; i < out.size() && !seen; ++i)
      seen = keys[i] == key && out[i] == reduced;
    if (!seen) {
      out.push_back(reduced);
      keys.push_back(key);
    }
  }
  operators_ = std::move(out);

  // Each operator's place in the list as given: the first listed operator with its rotation
  // and its translation up to a lattice vector.
  listed_ = ops;
  if (std::none_of(listed_.begin(), listed_.end(),
                   [](const CrystalSymmetryOperator& op) { return op.is_identity(); }))
    listed_.insert(listed_.begin(), CrystalSymmetryOperator());
  listed_of_.assign(operators_.size(), ListedCode{});
  std::vector<std::uint64_t> listed_keys;
  listed_keys.reserve(listed_.size());
  for (const auto& op : listed_)
    listed_keys.push_back(rotation_key(op));
  for (std::size_t k = 0; k < operators_.size(); ++k)
    for (std::size_t n = 0; n < listed_.size(); ++n) {
      if (listed_keys[n] != keys[k] || !(listed_[n].rotation() == operators_[k].rotation()))
        continue;
      Translation offset;
      bool whole = true;
      for (int i = 0; i < 3; ++i) {
        const double d = operators_[k].translation()[i] - listed_[n].translation()[i];
        offset[i] = static_cast<int>(std::lround(d));
        whole = whole && std::fabs(d - offset[i]) < 1e-3;
      }
      if (whole) {
        listed_of_[k] = ListedCode{static_cast<int>(n), offset};
        break;
      }
    }
}

CrystalMaker::ListedCode CrystalMaker::listed_code(int op, const Translation& t) const {
  if (op < 0 || op >= static_cast<int>(listed_of_.size()))
    throw std::out_of_range("CrystalMaker::listed_code: no operator " + std::to_string(op));
  ListedCode code = listed_of_[op];
  for (int i = 0; i < 3; ++i)
    code.translation[i] += t[i];
  return code;
}

THandle<Molecule> CrystalMaker::molecule(int i) const {
  if (i < 0 || i >= nmolecules())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
  return molecules_[i];
}

void CrystalMaker::add_molecule(const THandle<Molecule>& m, std::vector<AtomOrigin> origins) {
  if (!origins.empty() && static_cast<int>(origins.size()) != m->natoms())
    throw std::invalid_argument("CrystalMaker::add_molecule: one origin per atom expected");
  molecules_.push_back(m);
  origins_.push_back(std::move(origins));
}

const std::vector<AtomOrigin>& CrystalMaker::atom_origins(int i) const {
  if (i < 0 || i >= nmolecules())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
  return origins_[i];
}

namespace {

std::vector<AtomOrigin> pick_origins(const std::vector<AtomOrigin>& all,
                                     const std::vector<int>& atoms) {
  std::vector<AtomOrigin> out;
  if (all.empty())
    return out;
  out.reserve(atoms.size());
  for (int a : atoms)
    out.push_back(all[a]);
  return out;
}

THandle<Molecule> as_3d(const THandle<Molecule>& m) {
  return THandle<Molecule>(make_handle<Molecule3d>(*m));
}

} // namespace

void CrystalMaker::select_3d() {
  std::vector<THandle<Molecule>> mols;
  std::vector<std::vector<AtomOrigin>> origins;
  for (std::size_t i = 0; i < molecules_.size(); ++i) {
    const THandle<Molecule>& m = molecules_[i];
    std::vector<int> keep;
    for (int a = 0; a < m->natoms(); ++a)
      if (m->atom(a)->has_site())
        keep.push_back(a);
    if (keep.empty())
      continue;
    if (static_cast<int>(keep.size()) == m->natoms()) {
      mols.push_back(m);
      origins.push_back(origins_[i]);
    } else {
      mols.push_back(as_3d(m->extract(keep)));
      origins.push_back(pick_origins(origins_[i], keep));
    }
  }
  molecules_ = std::move(mols);
  origins_ = std::move(origins);
}

bool CrystalMaker::remove(const THandle<Bond>& bond) {
  for (std::size_t i = 0; i < molecules_.size(); ++i) {
    THandle<Molecule> m = molecules_[i];
    if (m->index_of(bond) < 0)
      continue;
    m->remove_bond(bond);
    std::vector<std::vector<int>> pieces = m->connected_components();
    if (pieces.size() <= 1)
      return true;
    std::vector<AtomOrigin> all = origins_[i];
    molecules_[i] = as_3d(m->extract(pieces[0]));
    origins_[i] = pick_origins(all, pieces[0]);
    for (std::size_t p = 1; p < pieces.size(); ++p) {
      molecules_.push_back(as_3d(m->extract(pieces[p])));
      origins_.push_back(pick_origins(all, pieces[p]));
    }
    return true;
  }
  return false;
}

void CrystalMaker::print(std::ostream& os) const {
  std::ios_base::fmtflags flags = os.flags();
  std::streamsize prec = os.precision();
  os << std::fixed << std::setprecision(4);
  os << "Cell: " << a() << " " << b() << " " << c() << " " << std::setprecision(3) << alpha() << " "
     << beta() << " " << gamma() << "\n";
  os << "Space group: " << (space_group_.empty() ? "?" : space_group_) << " (" << operators_.size()
     << " operators)\n";
  for (const auto& op : operators_)
    os << "  " << op.to_xyz() << "\n";
  if (r_factor_ >= 0)
    os << "R factor: " << r_factor_ << "\n";
  if (polymeric_)
    os << "Polymeric\n";
  if (disorder_)
    os << "Disordered\n";
  for (const auto& w : warnings_)
    os << "Warning: " << w << "\n";
  for (const auto& e : errors_)
    os << "Error: " << e << "\n";
  os << "Molecules: " << molecules_.size() << "\n";
  for (std::size_t i = 0; i < molecules_.size(); ++i) {
    const Molecule& m = *molecules_[i];
    os << "Molecule " << i << ": " << m.formula() << " (" << m.natoms() << " atoms, " << m.nbonds()
       << " bonds)\n";
    for (int a = 0; a < m.natoms(); ++a) {
      const Atom& at = *m.atom(a);
      os << "  " << std::left << std::setw(8) << at.label() << std::right << std::setw(3)
         << at.element().symbol();
      if (at.has_site()) {
        const Point& f = at.site()->fractional();
        os << std::setprecision(4) << std::setw(10) << f[0] << std::setw(10) << f[1]
           << std::setw(10) << f[2];
      }
      if (at.formal_charge())
        os << "  charge " << std::showpos << at.formal_charge() << std::noshowpos;
      os << "\n";
    }
    for (int b = 0; b < m.nbonds(); ++b) {
      const Bond& bd = *m.bond(b);
      os << "  bond " << m.atom(bd.atom1())->label() << "-" << m.atom(bd.atom2())->label() << " "
         << bond_type_name(bd.type()) << "\n";
    }
  }
  os.flags(flags);
  os.precision(prec);
}

} // namespace xtalmotif
