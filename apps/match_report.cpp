#include "apps/match_report.h"

#include "core/atomic_file.h"
#include "results/match_description.h"
#include "search/match_records.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <set>

namespace xtalmotif::app {

namespace {

using MotifSearchLibFunctions::describe_match;
using MotifSearchLibFunctions::describe_molecules;

std::string fixed4(double d) {
  if (!std::isfinite(d))
    return "";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.4f", d);
  return buf;
}

// An entry's name as part of a file name: letters, digits, '-', '_' and '.' kept, anything else
// '_', at most 100 characters, never "." or "..".
std::string file_safe(const std::string& s) {
  std::string out;
  for (char c : s.substr(0, 100))
    out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.') ? c : '_';
  if (out.find_first_not_of('.') == std::string::npos)
    out = "entry" + out;
  return out;
}

std::string cif_number(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.5f", v);
  return buf;
}

// A CIF value as one token: quoted where it holds a blank or a quote, starts with a character
// that would make it something else, or is a reserved word.
std::string cif_value(const std::string& v) {
  bool plain = !v.empty() && v != "." && v != "?";
  for (char c : v)
    plain = plain && static_cast<unsigned char>(c) > ' ' && c != '\'' && c != '"';
  if (plain && std::string("_#$'\";[]").find(v[0]) != std::string::npos)
    plain = false;
  for (const char* word : {"data_", "loop_", "save_", "global_", "stop_"})
    if (plain && v.size() >= std::string(word).size() &&
        std::equal(v.begin(), v.begin() + std::string(word).size(), word,
                   [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; }))
      plain = false;
  if (plain)
    return v;
  std::string q;
  for (char c : v)
    q += (c == '\'' || static_cast<unsigned char>(c) < ' ') ? '_' : c;
  return "'" + q + "'";
}

} // namespace

void write_listing(std::ostream& os, const std::vector<EntryOutcome>& outcomes,
                   std::size_t detailed) {
  auto placed = [](const DescribedAtom& a) { return a.label + "(" + a.code + ")"; };
  for (const auto& e : outcomes) {
    if (e.matches.empty())
      continue;
    os << printable(e.id.str()) << " (" << record_file(e) << "): " << e.matches.size()
       << (e.matches.size() == 1 ? " match" : " matches") << '\n';
    // The matches with the most hydrogen bonds first (a ring closed by hydrogen bonds all
    // round before one with a plain contact in it), then in the order found.
    std::vector<std::pair<int, std::size_t>> order;
    for (std::size_t m = 0; m < e.matches.size() && detailed > 0; ++m) {
      int bonds = 0;
      for (const DescribedContact& c : describe_match(*e.resource, *e.matches[m]).contacts)
        bonds += c.kind == ContactKind::HydrogenBond;
      order.emplace_back(-bonds, m);
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    for (std::size_t k = 0; k < order.size() && k < detailed; ++k) {
      const std::size_t m = order[k].second;
      const MatchDescription d = describe_match(*e.resource, *e.matches[m]);
      os << "  match " << m + 1 << (d.graph_set.empty() ? "" : "  " + d.graph_set) << '\n';
      for (const DescribedContact& c : d.contacts) {
        if (c.kind == ContactKind::Constraint)
          continue;
        char line[160];
        if (c.kind == ContactKind::HydrogenBond)
          std::snprintf(line, sizeof line, "D-H %.2f  H...A %.2f  D...A %.3f  D-H...A %.1f", c.d_h,
                        c.h_a, c.d_a, c.angle);
        else
          std::snprintf(line, sizeof line, "%.3f A", c.distance);
        os << "    "
           << (c.kind == ContactKind::HydrogenBond
                   ? placed(c.donor) + "-" + placed(c.hydrogen) + "..." + placed(c.acceptor)
                   : placed(d.atoms[c.from]) + "..." + placed(d.atoms[c.to]))
           << "  " << line << '\n';
      }
    }
    if (e.matches.size() > detailed && detailed > 0)
      os << "  ... and " << e.matches.size() - detailed
         << " more matches (--json or --tsv list every one)\n";
  }
}

void write_p1_cif(std::ostream& os, const std::string& block, const std::array<double, 6>& cell,
                  const std::vector<P1Atom>& atoms) {
  os << "data_" << block << "\n_cell_length_a " << cif_number(cell[0]) << "\n_cell_length_b "
     << cif_number(cell[1]) << "\n_cell_length_c " << cif_number(cell[2])
     << "\n_cell_angle_alpha " << cif_number(cell[3]) << "\n_cell_angle_beta "
     << cif_number(cell[4]) << "\n_cell_angle_gamma " << cif_number(cell[5])
     << "\n_symmetry_space_group_name_H-M 'P 1'\n"
     << "loop_\n_space_group_symop_operation_xyz\n'x,y,z'\n"
     << "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
        "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n";
  for (const P1Atom& a : atoms)
    os << cif_value(a.label) << ' ' << a.element << ' ' << cif_number(a.fract[0]) << ' '
       << cif_number(a.fract[1]) << ' ' << cif_number(a.fract[2]) << " 1\n";
}

void write_json_lines(std::ostream& os, const std::string& motif_name,
                      const std::vector<EntryOutcome>& outcomes) {
  for (const auto& e : outcomes) {
    if (e.matches.empty())
      continue;
    os << record_line(entry_record(e)) << '\n';
    for (std::size_t m = 0; m < e.matches.size(); ++m)
      os << record_line(match_record(e, m, motif_name)) << '\n';
  }
}

void write_tsv(std::ostream& os, const std::vector<EntryOutcome>& outcomes) {
  os << "entry\tfile\tmatch\tgraph_set\tcontact\tkind\tfrom_substructure\tfrom_query_atom\t"
        "from_query_label\tfrom_atom\tfrom_symmetry\tto_substructure\tto_query_atom\t"
        "to_query_label\tto_atom\tto_symmetry\tdistance\tdonor\tdonor_symmetry\thydrogen\t"
        "hydrogen_symmetry\tacceptor\tacceptor_symmetry\td_h\th_a\td_a\tangle_dha\n";
  for (const auto& e : outcomes)
    for (std::size_t m = 0; m < e.matches.size(); ++m) {
      const MatchDescription d = describe_match(*e.resource, *e.matches[m]);
      for (const DescribedContact& c : d.contacts) {
        os << printable(e.id.str()) << '\t' << record_file(e) << '\t' << m + 1 << '\t' << d.graph_set << '\t'
           << c.contact << '\t' << contact_kind_name(c.kind);
        for (const DescribedAtom* a : {&d.atoms[c.from], &d.atoms[c.to]})
          os << '\t' << a->substructure << '\t' << a->query_atom << '\t' << a->query_label << '\t'
             << a->label << '\t' << a->code;
        os << '\t' << fixed4(c.distance);
        if (c.kind == ContactKind::HydrogenBond) {
          for (const DescribedAtom* a : {&c.donor, &c.hydrogen, &c.acceptor})
            os << '\t' << a->label << '\t' << a->code;
          char angle[16];
          std::snprintf(angle, sizeof angle, "%.1f", c.angle);
          os << '\t' << fixed4(c.d_h) << '\t' << fixed4(c.h_a) << '\t' << fixed4(c.d_a) << '\t'
             << angle;
        } else {
          os << "\t\t\t\t\t\t\t\t\t\t";
        }
        os << '\n';
      }
    }
}

std::vector<std::string> export_matches(const std::string& dir,
                                        const std::vector<EntryOutcome>& outcomes,
                                        const std::function<bool(const std::string&)>& is_input) {
  std::vector<std::string> written;
  std::set<std::string> taken; // names used by this export
  std::filesystem::create_directories(dir);
  for (const auto& e : outcomes) {
    for (std::size_t m = 0; m < e.matches.size(); ++m) {
      const MotifMatch& match = *e.matches[m];
      const CrystalMaker& c = *e.crystal;
      const MatchDescription d = describe_match(*e.resource, match);
      // Entries "x+1" and "x=1" both make x_1: the second takes the next free name.
      const std::string base = file_safe(e.id.str()) + "_match" + std::to_string(m + 1);
      std::string name = base, path;
      for (int n = 2;; ++n) {
        path = (std::filesystem::path(dir) / (name + ".cif")).string();
        if (!taken.count(name) && !(is_input && is_input(path)))
          break;
        name = base + "-" + std::to_string(n);
      }
      taken.insert(name);
      std::string error;
      bool ok = write_file_atomically(
          path,
          [&](std::ostream& os) {
            os << "# Molecules of motif match " << m + 1 << " in entry " << e.id.str()
               << ", at the positions where they were found.\n"
               << "# Atom labels carry the symmetry code n_klm of the original structure: its\n"
               << "# site, moved by operator n of the list below and k-5, l-5, m-5 cells.\n"
               << "# Operators (" << c.symmetry_source() << "):\n";
            for (std::size_t k = 0; k < c.listed_operators().size(); ++k)
              os << "#   " << k + 1 << "  " << c.listed_operators()[k].to_xyz() << '\n';
            for (const auto& n : c.notices())
              os << "# Note: " << n << '\n';
            std::vector<P1Atom> atoms;
            // A molecule copy reached twice (two substructures on one molecule) is written once.
            for (const DescribedMolecule& mol : describe_molecules(*e.resource, match))
              for (const DescribedAtom& a : mol.atoms)
                atoms.push_back({a.label + '_' + a.code, a.element,
                                 {a.fractional[0], a.fractional[1], a.fractional[2]}});
            write_p1_cif(os, name, {c.a(), c.b(), c.c(), c.alpha(), c.beta(), c.gamma()}, atoms);
            // Which atom matched which query atom, and the contacts, by the labels above.
            os << "loop_\n_xtalmotif_match_atom_label\n_xtalmotif_match_atom_substructure\n"
                  "_xtalmotif_match_atom_query_atom\n_xtalmotif_match_atom_query_label\n";
            for (const DescribedAtom& a : d.atoms)
              os << cif_value(a.label + '_' + a.code) << ' ' << a.substructure << ' '
                 << a.query_atom << ' ' << (a.query_label.empty() ? "." : cif_value(a.query_label))
                 << '\n';
            if (!d.contacts.empty()) {
              os << "loop_\n_xtalmotif_match_contact_id\n_xtalmotif_match_contact_atom_1\n"
                    "_xtalmotif_match_contact_atom_2\n_xtalmotif_match_contact_distance\n";
              for (const DescribedContact& k : d.contacts)
                os << k.contact << ' ' << cif_value(d.atoms[k.from].label + '_' + d.atoms[k.from].code)
                   << ' ' << cif_value(d.atoms[k.to].label + '_' + d.atoms[k.to].code) << ' '
                   << fixed4(k.distance) << '\n';
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
