#include "apps/match_report.h"

#include "kernel/atomic_file.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <set>
#include <sstream>
#include <tuple>

namespace xtalmotif::app {

namespace {

int operator_of(const MotifSearchResource& resource, int copy) {
  return resource.operator_of_copy.at(copy);
}

// x' = R x + t as integer rotation and fractional translation.
struct Op {
  Matrix<int, 3, 3> r;
  Point t;
};

Op compose(const CrystalSymmetryOperator& outer, const CrystalSymmetryOperator& inner,
           const Point& inner_shift) {
  Op o;
  o.r = outer.rotation() * inner.rotation();
  Point shifted = inner.translation() + inner_shift;
  for (int i = 0; i < 3; ++i) {
    double s = outer.translation()[i];
    for (int j = 0; j < 3; ++j)
      s += outer.rotation()(i, j) * shifted[j];
    o.t[i] = s;
  }
  return o;
}

double finite_or_nan(double d) { return std::isfinite(d) ? d : std::nan(""); }

nlohmann::json rounded(double d) {
  if (!std::isfinite(d))
    return nullptr;
  return std::round(d * 10000.0) / 10000.0;
}

std::string atom_label(const CrystalMaker& crystal, int molecule, int atom) {
  return crystal.molecule(molecule)->atom(atom)->label();
}

struct ContactRow {
  int contact;
  int from_sub, to_sub;
  std::string from_label, from_code, to_label, to_code;
  double distance;
};

std::string code_of_address(const EntryOutcome& e, const AtomAddress& a) {
  return atom_symmetry_code(*e.crystal, a.nmol_in_cm, a.natom, operator_of(*e.resource, a.nmol_in_msr),
                            *a.translation);
}

std::vector<ContactRow> contact_rows(const EntryOutcome& e, const MotifMatch& m) {
  std::vector<ContactRow> rows;
  const auto& contacts = *m.motif->contacts();
  for (std::size_t j = 0; j < m.contact_matches.size(); ++j) {
    const ContactMatch& c = *m.contact_matches[j];
    ContactRow r;
    r.contact = static_cast<int>(j);
    r.from_sub = contacts[j]->from_substructure();
    r.to_sub = contacts[j]->to_substructure();
    r.from_label = atom_label(*e.crystal, c.from->nmol_in_cm, c.from->natom);
    r.to_label = atom_label(*e.crystal, c.to->nmol_in_cm, c.to->natom);
    r.from_code = code_of_address(e, *c.from);
    r.to_code = code_of_address(e, *c.to);
    r.distance = finite_or_nan(distance(e.resource->get_point(c.from, false),
                                        e.resource->get_point(c.to, false)));
    rows.push_back(r);
  }
  return rows;
}

std::string file_safe(const std::string& s) {
  std::string out;
  for (char c : s)
    out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.') ? c : '_';
  return out.empty() ? "entry" : out;
}

std::string cif_number(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.5f", v);
  return buf;
}

} // namespace

std::string symmetry_code(int op, const Translation& t) {
  bool small = true;
  for (int i = 0; i < 3; ++i)
    small = small && t[i] >= -5 && t[i] <= 4;
  std::ostringstream os;
  os << op + 1 << '_';
  if (small)
    os << 5 + t[0] << 5 + t[1] << 5 + t[2];
  else
    os << '(' << t[0] << ',' << t[1] << ',' << t[2] << ')';
  return os.str();
}

std::string atom_symmetry_code(const CrystalMaker& crystal, int molecule, int atom, int op,
                               const Translation& t) {
  const auto& ops = crystal.symmetry_operators();
  const auto& origins = crystal.atom_origins(molecule);
  if (origins.empty() || atom >= static_cast<int>(origins.size()))
    return symmetry_code(op, t);
  const AtomOrigin& origin = origins[atom];
  // The atom is operator `origin.op` (plus a translation) of its asymmetric-unit site, and the
  // environment applies operator `op` and translation `t` to it: find the one operator of the
  // list that the two make together.
  Op total = compose(ops.at(op), ops.at(origin.op), origin.translation.as_point());
  for (int i = 0; i < 3; ++i)
    total.t[i] += t[i];
  for (std::size_t n = 0; n < ops.size(); ++n) {
    if (!(ops[n].rotation() == total.r))
      continue;
    Translation shift;
    bool whole = true;
    for (int i = 0; i < 3; ++i) {
      double d = total.t[i] - ops[n].translation()[i];
      shift[i] = static_cast<int>(std::lround(d));
      whole = whole && std::fabs(d - shift[i]) < 1e-3;
    }
    if (whole)
      return symmetry_code(static_cast<int>(n), shift);
  }
  return symmetry_code(op, t);
}

void write_json_lines(std::ostream& os, const std::string& motif_name,
                      const std::vector<EntryOutcome>& outcomes) {
  for (const auto& e : outcomes) {
    for (std::size_t m = 0; m < e.matches.size(); ++m) {
      const MotifMatch& match = *e.matches[m];
      nlohmann::json j;
      j["entry"] = e.id.str();
      j["motif"] = motif_name;
      j["match"] = m + 1;
      nlohmann::json subs = nlohmann::json::array();
      for (std::size_t s = 0; s < match.substructure_matches.size(); ++s) {
        const SubstructureMatch& sm = *match.substructure_matches[s];
        nlohmann::json atoms = nlohmann::json::array();
        for (int a : *sm.atoms)
          atoms.push_back(atom_label(*e.crystal, sm.nmol_in_cm, a));
        subs.push_back({{"substructure", s},
                        {"molecule", sm.nmol_in_cm},
                        {"copy", sm.nmol_in_msr},
                        {"symmetry", symmetry_code(operator_of(*e.resource, sm.nmol_in_msr),
                                                   *sm.translation)},
                        {"atoms", atoms}});
      }
      j["substructures"] = subs;
      nlohmann::json contacts = nlohmann::json::array();
      for (const auto& r : contact_rows(e, match))
        contacts.push_back({{"contact", r.contact},
                            {"from", {{"substructure", r.from_sub}, {"atom", r.from_label},
                                      {"symmetry", r.from_code}}},
                            {"to", {{"substructure", r.to_sub}, {"atom", r.to_label},
                                    {"symmetry", r.to_code}}},
                            {"distance", rounded(r.distance)}});
      j["contacts"] = contacts;
      os << j.dump() << '\n';
    }
  }
}

void write_tsv(std::ostream& os, const std::vector<EntryOutcome>& outcomes) {
  os << "entry\tmatch\tcontact\tfrom_substructure\tfrom_atom\tfrom_symmetry\tto_substructure\t"
        "to_atom\tto_symmetry\tdistance\n";
  for (const auto& e : outcomes)
    for (std::size_t m = 0; m < e.matches.size(); ++m)
      for (const auto& r : contact_rows(e, *e.matches[m])) {
        os << e.id.str() << '\t' << m + 1 << '\t' << r.contact << '\t' << r.from_sub << '\t'
           << r.from_label << '\t' << r.from_code << '\t' << r.to_sub << '\t' << r.to_label
           << '\t' << r.to_code << '\t';
        if (std::isfinite(r.distance)) {
          char buf[32];
          std::snprintf(buf, sizeof buf, "%.4f", r.distance);
          os << buf;
        }
        os << '\n';
      }
}

std::vector<std::string> export_matches(const std::string& dir,
                                        const std::vector<EntryOutcome>& outcomes) {
  std::vector<std::string> written;
  std::filesystem::create_directories(dir);
  for (const auto& e : outcomes) {
    for (std::size_t m = 0; m < e.matches.size(); ++m) {
      const MotifMatch& match = *e.matches[m];
      const CrystalMaker& c = *e.crystal;
      std::string name = file_safe(e.id.str()) + "_match" + std::to_string(m + 1);
      std::string path = (std::filesystem::path(dir) / (name + ".cif")).string();
      std::string error;
      bool ok = write_file_atomically(
          path,
          [&](std::ostream& os) {
            os << "# Molecules of motif match " << m + 1 << " in entry " << e.id.str()
               << ", at the positions where they were found.\n"
               << "# Atom labels carry the symmetry code n_klm of the original structure.\n"
               << "data_" << name << "\n"
               << "_cell_length_a " << cif_number(c.a()) << "\n_cell_length_b "
               << cif_number(c.b()) << "\n_cell_length_c " << cif_number(c.c())
               << "\n_cell_angle_alpha " << cif_number(c.alpha()) << "\n_cell_angle_beta "
               << cif_number(c.beta()) << "\n_cell_angle_gamma " << cif_number(c.gamma())
               << "\n_symmetry_space_group_name_H-M 'P 1'\n"
               << "loop_\n_space_group_symop_operation_xyz\n'x,y,z'\n"
               << "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
                  "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n";
            // A molecule copy reached twice (two substructures on one molecule) is written once.
            std::set<std::tuple<int, int, int, int>> seen;
            for (const auto& sm : match.substructure_matches) {
              const Translation& t = *sm->translation;
              if (!seen.insert({sm->nmol_in_msr, t[0], t[1], t[2]}).second)
                continue;
              THandle<Molecule> mol = e.resource->molecule(sm);
              int op = operator_of(*e.resource, sm->nmol_in_msr);
              for (int a = 0; a < mol->natoms(); ++a) {
                const Atom& atom = *mol->atom(a);
                if (!atom.has_site())
                  continue;
                const Point& f = atom.site()->fractional();
                os << atom.label() << '_' << atom_symmetry_code(c, sm->nmol_in_cm, a, op, t) << ' '
                   << atom.element().symbol() << ' ' << cif_number(f[0]) << ' '
                   << cif_number(f[1]) << ' ' << cif_number(f[2]) << " 1\n";
              }
            }
          },
          &error);
      if (!ok)
        throw std::runtime_error(error);
      written.push_back(path);
    }
  }
  return written;
}

} // namespace xtalmotif::app
