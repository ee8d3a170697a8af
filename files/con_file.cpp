#include "files/con_file.h"

#include "files/formatted_file_reader.h"
#include "files/lenient_number.h"
#include "chem/condition.h"
#include "motif/motif.h"

#include <cmath>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace xtalmotif {

using MotifSearchLibFunctions::lenient_double;
using MotifSearchLibFunctions::lenient_int;

namespace {

int int_word(const std::vector<std::string>& words, std::size_t i) {
  return i < words.size() ? lenient_int(words[i]) : -1;
}

double real_word(const std::vector<std::string>& words, std::size_t i) {
  return i < words.size() ? lenient_double(words[i]) : 0.0;
}

// Union-find over atom numbers, so that grouping stays linear in the number of bonds however
// the bonds of a chain are ordered in the file.
class AtomPartition {
public:
  int node(int number) {
    auto it = index_.find(number);
    if (it != index_.end())
      return it->second;
    int n = static_cast<int>(parent_.size());
    index_.emplace(number, n);
    parent_.push_back(n);
    return n;
  }
  int root(int n) {
    while (parent_[n] != n) {
      parent_[n] = parent_[parent_[n]];
      n = parent_[n];
    }
    return n;
  }
  void join(int a, int b) {
    int ra = root(node(a));
    int rb = root(node(b));
    if (ra != rb)
      parent_[rb] = ra;
  }

private:
  std::unordered_map<int, int> index_;
  std::vector<int> parent_;
};

// The widest offset to the van der Waals radius sum a contact may have, in angstrom: as far as
// the longest contacts of the ready-made motifs reach. Beyond it a limit is a slip (an angle, an
// absolute distance in place of an offset, a stray exponent), and would make the search walk an
// enormous stretch of the crystal.
constexpr double max_contact_offset = 30.0;

std::string number_text(double v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

// Why a contact's limits cannot be searched for, or "" when they can.
std::string contact_limit_problem(const ConContact& c) {
  const std::vector<double> limits = c.vdw_only() ? std::vector<double>{c.vdw_tolerance()}
                                                  : std::vector<double>{c.low(), c.high()};
  for (double v : limits)
    if (!std::isfinite(v) || std::fabs(v) > max_contact_offset)
      return "limit " + number_text(v) + " is not an offset from -" +
             number_text(max_contact_offset) + " to " + number_text(max_contact_offset) +
             " A to the van der Waals radius sum";
  if (!c.vdw_only() && !(c.low() < c.high()))
    return "the range " + number_text(c.low()) + " to " + number_text(c.high()) +
           " holds no distance";
  return {};
}

} // namespace

ConFile::ConAngle::ConAngle(const std::vector<std::string>& define_line,
                            const std::vector<std::string>& next_line)
    : atom_1_(int_word(define_line, 2)), atom_2_(int_word(define_line, 3)),
      atom_3_(int_word(define_line, 4)), min_angle_(real_word(next_line, 2)),
      max_angle_(real_word(next_line, 3)) {}

bool ConFile::read(std::string path) {
  FormattedFileReader reader;
  if (!reader.read_file(path))
    return false;
  clear();
  path_ = std::move(path);

  const auto& words = reader.words();
  const auto& lines = reader.lines();
  const int n = reader.nlines();
  for (int i = 0; i < n; ++i) {
    const std::vector<std::string>& w = words[i];
    if (w.empty())
      continue;
    // Substring tests on the first word, in this order, deliberately loose: "ATOM" and "XAT"
    // are atoms, and a first word holding both "AT" and "BO" or "VDW" is an atom too.
    const std::string& first = w[0];
    if (first.find("AT") != std::string::npos) {
      atoms_.emplace_back(w);
      // The last three words of an atom line are never read: a line written without them
      // loses its element, hydrogen count or connections to them.
      if (w.size() < 7) {
        const ConAtom& a = atoms_.back();
        warnings_.push_back(
            where(i + 1) + ": atom line of " + std::to_string(w.size()) +
            " words; its last three are not read, so it asks for " +
            (a.element().empty()  ? std::string("any element")
             : a.element() == "X" ? std::string("element X, which no atom has")
                                  : "element " + a.element()) +
            (a.hcount_condition() ? "" : ", any hydrogen count") +
            (a.nbonds_condition() ? "" : ", any connections") +
            " (an atom line is ATn ELEMENT VALUE [HYDROGENS] [Tn] and three more words)");
      }
    } else if (first.find("BO") != std::string::npos) {
      bonds_.emplace_back(w);
      bond_lines_.push_back(i + 1);
    } else if (first.find("VDW") != std::string::npos) {
      // The record needs the next line; as the last line it is incomplete and skipped.
      if (i + 1 < n) {
        contacts_.emplace_back(w, words[i + 1]);
        contact_lines_.push_back(i + 1);
      }
    } else if (w.size() == 5 && lines[i].find("DEFINE") != std::string::npos) {
      if (i + 1 < n) {
        angles_.emplace_back(w, words[i + 1]);
        angle_lines_.push_back(i + 1);
      }
    }
    // The line after a contact or angle line is classified in its own turn as well.
  }
  find_residues();
  return true;
}

void ConFile::clear() {
  warnings_.clear();
  angles_.clear();
  atoms_.clear();
  bonds_.clear();
  contacts_.clear();
  residues_.clear();
  atom_indices_.clear();
  bond_lines_.clear();
  contact_lines_.clear();
  angle_lines_.clear();
}

ConAtom ConFile::find_con_atom(int number) const {
  for (const ConAtom& a : atoms_)
    if (a.number() == number)
      return a;
  return ConAtom();
}

ConBond ConFile::find_con_bond(int a, int b) const {
  for (const ConBond& bond : bonds_)
    if (bond.connects_con_atoms(a, b))
      return bond;
  return ConBond();
}

std::vector<int> ConFile::con_atoms(const std::vector<ConBond>& bonds) const {
  std::vector<int> out;
  std::set<int> seen;
  for (const ConBond& b : bonds) {
    if (seen.insert(b.atom_a()).second)
      out.push_back(b.atom_a());
    if (seen.insert(b.atom_b()).second)
      out.push_back(b.atom_b());
  }
  return out;
}

bool ConFile::is_bonded(const ConAtom& atom) const {
  for (const ConBond& b : bonds_)
    if (b.atom_a() == atom.number() || b.atom_b() == atom.number())
      return true;
  return false;
}

std::vector<ConAtom> ConFile::atoms_in_residue(int r) const {
  std::vector<ConAtom> out;
  for (const ConAtom& a : atoms_)
    if (a.residue() == r)
      out.push_back(a);
  return out;
}

std::vector<ConBond> ConFile::bonds_in_residue(int r) const {
  std::vector<ConBond> out;
  for (const ConBond& b : bonds_)
    if (b.residue() == r)
      out.push_back(b);
  return out;
}

int ConFile::sub_atom_index(int number) const {
  auto it = atom_indices_.find(number);
  return it == atom_indices_.end() ? -1 : it->second;
}

bool ConFile::bond_extends_group(const ConBond& bond, const std::vector<ConBond>& group) const {
  for (const ConBond& g : group)
    if (bond.is_adjacent_to(g))
      return true;
  return false;
}

std::vector<int> ConFile::bond_group_ids(const std::vector<ConBond>& bonds) const {
  AtomPartition partition;
  for (const ConBond& b : bonds)
    partition.join(b.atom_a(), b.atom_b());
  // Groups are numbered in order of their first bond.
  std::unordered_map<int, int> group_of_root;
  std::vector<int> ids;
  ids.reserve(bonds.size());
  for (const ConBond& b : bonds) {
    int root = partition.root(partition.node(b.atom_a()));
    auto it = group_of_root.emplace(root, static_cast<int>(group_of_root.size())).first;
    ids.push_back(it->second);
  }
  return ids;
}

std::vector<std::vector<ConBond>> ConFile::group_bonds(const std::vector<ConBond>& bonds) const {
  // The pieces come from the partition; within each, bonds are taken as they join it: the
  // first bond, then pass after pass over the rest in file order, each bond that touches an
  // atom already reached (1-2, 3-4, 2-3 is grouped 1-2, 2-3, 3-4).
  std::vector<std::vector<std::size_t>> members;
  std::vector<int> ids = bond_group_ids(bonds);
  for (std::size_t i = 0; i < bonds.size(); ++i) {
    if (ids[i] >= static_cast<int>(members.size()))
      members.resize(static_cast<std::size_t>(ids[i]) + 1);
    members[static_cast<std::size_t>(ids[i])].push_back(i);
  }
  std::vector<std::vector<ConBond>> groups(members.size());
  for (std::size_t g = 0; g < members.size(); ++g) {
    std::vector<std::size_t> rest(members[g].begin() + 1, members[g].end());
    std::unordered_set<int> reached{bonds[members[g][0]].atom_a(), bonds[members[g][0]].atom_b()};
    groups[g].push_back(bonds[members[g][0]]);
    while (!rest.empty()) {
      std::vector<std::size_t> left;
      for (std::size_t i : rest) {
        if (reached.count(bonds[i].atom_a()) || reached.count(bonds[i].atom_b())) {
          groups[g].push_back(bonds[i]);
          reached.insert(bonds[i].atom_a());
          reached.insert(bonds[i].atom_b());
        } else {
          left.push_back(i);
        }
      }
      rest.swap(left);
    }
  }
  return groups;
}

void ConFile::find_residues() {
  residues_.clear();
  for (ConAtom& a : atoms_)
    a.set_residue(-1);

  std::vector<int> ids = bond_group_ids(bonds_);
  std::unordered_map<int, int> residue_of_number;
  int ngroups = 0;
  for (std::size_t i = 0; i < bonds_.size(); ++i) {
    ConBond& b = bonds_[i];
    b.set_residue(ids[i]);
    residue_of_number[b.atom_a()] = ids[i];
    residue_of_number[b.atom_b()] = ids[i];
    if (ids[i] >= ngroups)
      ngroups = ids[i] + 1;
  }
  for (int g = 0; g < ngroups; ++g)
    residues_.push_back(g);

  for (ConAtom& a : atoms_) {
    auto it = residue_of_number.find(a.number());
    if (it != residue_of_number.end())
      a.set_residue(it->second);
  }
  // Atoms without bonds come after every bonded group, one residue each, in file order.
  int next = ngroups;
  for (ConAtom& a : atoms_) {
    if (a.residue() < 0) {
      a.set_residue(next);
      residues_.push_back(next);
      ++next;
    }
  }
}

std::string ConFile::where(int line) const {
  return (path_.empty() ? std::string("connectivity query") : path_) + ": line " +
         std::to_string(line);
}

THandle<Motif> ConFile::motif() {
  auto result = make_handle<Motif>(std::string());
  // The first record of every atom number, looked up by number: a scan of the atom list per
  // bond or contact would make large files quadratic.
  FirstRecords first;
  for (const ConAtom& a : atoms_)
    first.emplace(a.number(), &a);
  build_substructures(*result, first);
  add_contacts(*result, first);
  add_angle_constraints(*result, first);
  return result;
}

void ConFile::build_substructures(Motif& motif, const FirstRecords& first) {
  // Atoms and bonds sorted by residue once, in file order, rather than a scan per residue: a
  // large file of lone atoms would otherwise take quadratic time.
  const std::size_t nres = residues_.size();
  std::vector<std::vector<const ConAtom*>> atoms_of(nres);
  std::vector<std::vector<std::size_t>> bonds_of(nres);
  for (const ConAtom& a : atoms_)
    if (a.residue() >= 0 && static_cast<std::size_t>(a.residue()) < nres)
      atoms_of[static_cast<std::size_t>(a.residue())].push_back(&a);
  for (std::size_t i = 0; i < bonds_.size(); ++i) {
    int r = bonds_[i].residue();
    if (r >= 0 && static_cast<std::size_t>(r) < nres)
      bonds_of[static_cast<std::size_t>(r)].push_back(i);
  }

  for (int r : residues_) {
    auto sub = make_handle<MotifSubstructure>();
    for (const ConAtom* a : atoms_of[static_cast<std::size_t>(r)])
      atom_indices_[a->number()] = sub->add(a->substructure_atom());
    for (std::size_t i : bonds_of[static_cast<std::size_t>(r)]) {
      const ConBond& b = bonds_[i];
      int ia = sub_atom_index(b.atom_a());
      int ib = sub_atom_index(b.atom_b());
      std::string problem;
      if (!first.count(b.atom_a()))
        problem = "atom " + std::to_string(b.atom_a()) + " has no atom record";
      else if (!first.count(b.atom_b()))
        problem = "atom " + std::to_string(b.atom_b()) + " has no atom record";
      else if (b.atom_a() == b.atom_b())
        problem = "an atom cannot be bonded to itself";
      else {
        try {
          sub->add(b.substructure_bond(), ia, ib);
        } catch (const std::invalid_argument& e) {
          problem = e.what();
        }
      }
      if (!problem.empty())
        throw std::invalid_argument(where(bond_lines_[i]) + ": bond between atoms " +
                                    std::to_string(b.atom_a()) + " and " +
                                    std::to_string(b.atom_b()) + ": " + problem);
    }
    motif.add_substructure(sub);
  }
}

void ConFile::add_contacts(Motif& motif, const FirstRecords& first) {
  for (std::size_t k = 0; k < contacts_.size(); ++k) {
    const ConContact& c = contacts_[k];
    for (int number : {c.atom_a(), c.atom_b()})
      if (!first.count(number))
        throw std::out_of_range(where(contact_lines_[k]) + ": contact between atoms " +
                                std::to_string(c.atom_a()) + " and " +
                                std::to_string(c.atom_b()) + ": atom " +
                                std::to_string(number) + " has no atom record");
    const std::string problem = contact_limit_problem(c);
    if (!problem.empty())
      throw std::invalid_argument(where(contact_lines_[k]) + ": contact between atoms " +
                                  std::to_string(c.atom_a()) + " and " +
                                  std::to_string(c.atom_b()) + ": " + problem);
    const ConAtom& a = *first.at(c.atom_a());
    const ConAtom& b = *first.at(c.atom_b());
    auto contact = make_handle<MotifContact>(a.residue(), sub_atom_index(c.atom_a()),
                                             b.residue(), sub_atom_index(c.atom_b()),
                                             c.contact_criterion());
    try {
      motif.add_contact(contact);
    } catch (const std::out_of_range& e) {
      throw std::out_of_range(where(contact_lines_[k]) + ": contact between atoms " +
                              std::to_string(c.atom_a()) + " and " +
                              std::to_string(c.atom_b()) + ": " + e.what());
    }
  }
}

void ConFile::add_angle_constraints(Motif& motif, const FirstRecords& first) {
  for (std::size_t k = 0; k < angles_.size(); ++k) {
    const ConAngle& g = angles_[k];
    // An angle on a missing atom would only fail later, inside a search; refuse it here.
    for (int number : {g.atom_1(), g.atom_2(), g.atom_3()})
      if (!first.count(number))
        throw std::out_of_range(where(angle_lines_[k]) + ": angle " +
                                std::to_string(g.atom_1()) + "-" + std::to_string(g.atom_2()) +
                                "-" + std::to_string(g.atom_3()) + ": atom " +
                                std::to_string(number) + " has no atom record");
    if (!(g.min_angle() >= 0.0 && g.min_angle() <= g.max_angle() && g.max_angle() <= 180.0))
      throw std::invalid_argument(where(angle_lines_[k]) + ": angle " +
                                  std::to_string(g.atom_1()) + "-" + std::to_string(g.atom_2()) +
                                  "-" + std::to_string(g.atom_3()) + ": the range " +
                                  number_text(g.min_angle()) + " to " +
                                  number_text(g.max_angle()) +
                                  " is not one of angles from 0 to 180 degrees");
    const ConAtom& a1 = *first.at(g.atom_1());
    const ConAtom& a2 = *first.at(g.atom_2());
    const ConAtom& a3 = *first.at(g.atom_3());
    auto condition = make_handle<InclusiveRange>("in range", g.min_angle(), g.max_angle());
    motif.add_angle_constraint(make_handle<MotifAngleConstraint>(
        a1.residue(), sub_atom_index(g.atom_1()), a2.residue(), sub_atom_index(g.atom_2()),
        a3.residue(), sub_atom_index(g.atom_3()), condition));
  }
}

void Motif::read_from_con_file(std::string path) {
  ConFile file;
  // Deliberately not consulted: a file that cannot be opened gives an empty motif.
  file.read(path);
  // Built completely before anything is replaced, so that a file that cannot be made into a
  // motif (the exception from ConFile::motif) leaves this motif as it was.
  THandle<Motif> built = file.motif();
  // Unlike the copy constructor, the angle constraints are taken over: the file's angle records
  // are part of the query it describes.
  name_ = built->name_;
  aux_value_ = built->aux_value_;
  substructures_ = make_handle<SubstructureList>(*built->substructures_);
  contacts_ = make_handle<ContactList>(*built->contacts_);
  angle_constraints_ = make_handle<AngleConstraintList>(*built->angle_constraints_);
  torsion_constraints_ = make_handle<TorsionConstraintList>(*built->torsion_constraints_);
  translation_constraints_ =
      make_handle<TranslationConstraintList>(*built->translation_constraints_);
  contact_constraints_ = make_handle<ContactConstraintList>(*built->contact_constraints_);
}

QueryMotif read_query_motif(const std::string& path) {
  ConFile con;
  if (!con.read(path))
    throw QueryFileError(path + ": query file cannot be read");
  QueryMotif out;
  try {
    out.motif = con.motif();
  } catch (const std::exception& e) {
    throw QueryFileError(path + ": not a usable connectivity query: " + e.what());
  }
  if (out.motif->nsubstructures() == 0)
    throw QueryFileError(path + ": query file holds no atoms");
  out.motif->set_name(std::filesystem::path(path).filename().string());
  out.warnings = con.warnings();
  return out;
}

} // namespace xtalmotif
