// gemmi's CIF document model and writer (no parser) for the exported structures.
#define USE_STD_SNPRINTF
#include "apps/match_report.h"

#include "core/atomic_file.h"
#include "results/match_description.h"
#include "search/match_records.h"

#include <gemmi/sprintf.hpp>
#include <gemmi/to_cif.hpp>

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

// A CIF value as one token, as gemmi quotes it; "." (not given) for an empty one.
std::string cif_value(const std::string& v) { return v.empty() ? "." : gemmi::cif::quote(v); }

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
                  const std::vector<P1Atom>& atoms, const std::vector<CifLoop>& more) {
  gemmi::cif::Document doc;
  doc.blocks.emplace_back(block);
  gemmi::cif::Block& b = doc.blocks.back();
  const char* axes[] = {"length_a", "length_b", "length_c", "angle_alpha", "angle_beta",
                        "angle_gamma"};
  for (int k = 0; k < 6; ++k)
    b.set_pair(std::string("_cell_") + axes[k], gemmi::to_str(cell[k]));
  b.set_pair("_symmetry_space_group_name_H-M", "'P 1'");
  b.init_loop("_space_group_symop_", {"operation_xyz"}).add_row({"'x,y,z'"});
  // Occupancies are all 1: the atoms written are the ones a match uses, which coexist.
  gemmi::cif::Loop& sites = b.init_loop(
      "_atom_site_", {"label", "type_symbol", "fract_x", "fract_y", "fract_z", "occupancy"});
  for (const P1Atom& a : atoms)
    sites.add_row({cif_value(a.label), cif_value(a.element), gemmi::to_str(a.fract[0]),
                   gemmi::to_str(a.fract[1]), gemmi::to_str(a.fract[2]), "1"});
  for (const CifLoop& loop : more) {
    gemmi::cif::Loop& l = b.init_loop(loop.prefix, loop.tags);
    for (const auto& row : loop.rows) {
      std::vector<std::string> values;
      for (const auto& v : row)
        values.push_back(cif_value(v));
      l.add_row(values);
    }
  }
  gemmi::cif::write_cif_to_stream(os, doc);
}

void write_json_lines(std::ostream& os, const std::string& motif_name,
                      const std::vector<EntryOutcome>& outcomes) {
  for (const EntryOutcome& e : outcomes) {
    if (e.matches.empty())
      continue;
    os << record_line(entry_record(e)) << '\n';
    for (std::size_t m = 0; m < e.matches.size(); ++m)
      os << record_line(match_record(e, m, motif_name)) << '\n';
  }
}

void write_tsv(std::ostream& os, const std::vector<EntryOutcome>& outcomes, bool header) {
  if (header)
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
                                        const std::function<bool(const std::string&)>& is_input,
                                        std::set<std::string>* used) {
  std::vector<std::string> written;
  std::set<std::string> own;
  std::set<std::string>& taken = used ? *used : own; // names used by this export
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
            CifLoop matched{"_xtalmotif_match_atom_",
                            {"label", "substructure", "query_atom", "query_label"}, {}};
            for (const DescribedAtom& a : d.atoms)
              matched.rows.push_back({a.label + '_' + a.code, std::to_string(a.substructure),
                                      std::to_string(a.query_atom), a.query_label});
            CifLoop contacts{"_xtalmotif_match_contact_", {"id", "atom_1", "atom_2", "distance"}, {}};
            for (const DescribedContact& k : d.contacts)
              contacts.rows.push_back({std::to_string(k.contact),
                                       d.atoms[k.from].label + '_' + d.atoms[k.from].code,
                                       d.atoms[k.to].label + '_' + d.atoms[k.to].code,
                                       fixed4(k.distance)});
            // Which atom matched which query atom, and the contacts, by the labels above.
            std::vector<CifLoop> more{matched};
            if (!contacts.rows.empty())
              more.push_back(contacts);
            write_p1_cif(os, name, {c.a(), c.b(), c.c(), c.alpha(), c.beta(), c.gamma()}, atoms,
                         more);
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
