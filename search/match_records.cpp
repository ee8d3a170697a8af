#include "search/match_records.h"

#include "motif/motif_search_lib_functions.h"
#include "results/match_description.h"

#include <cmath>

namespace xtalmotif {

namespace {

using MotifSearchLibFunctions::describe_match;
using MotifSearchLibFunctions::describe_molecules;

nlohmann::json rounded(double d) {
  if (!std::isfinite(d))
    return nullptr;
  return std::round(d * 10000.0) / 10000.0;
}

double rounded_fraction(double f) { return std::round(f * 1e5) / 1e5; }

nlohmann::json atom_json(const DescribedAtom& a) {
  nlohmann::json j = {{"atom", a.label},
                      {"element", a.element},
                      {"site", a.site_row},
                      {"symmetry", a.code},
                      {"fract", {rounded_fraction(a.fractional[0]),
                                 rounded_fraction(a.fractional[1]),
                                 rounded_fraction(a.fractional[2])}}};
  if (a.substructure >= 0) {
    j["substructure"] = a.substructure;
    j["query_atom"] = a.query_atom;
  }
  if (!a.query_label.empty())
    j["query_label"] = a.query_label;
  return j;
}

} // namespace

std::string printable(const std::string& text) {
  std::string out = text;
  for (char& c : out)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
      c = '?';
  return out;
}

std::string record_file(const EntryOutcome& e) { return printable(e.file.empty() ? "-" : e.file); }

nlohmann::json entry_record(const EntryOutcome& e) {
  const CrystalMaker& crystal = *e.crystal;
  nlohmann::json entry = {{"record", "entry"},
                          {"entry", e.id.str()},
                          {"file", record_file(e)},
                          {"block", e.block},
                          {"symmetry_source", crystal.symmetry_source()},
                          {"cell", {crystal.a(), crystal.b(), crystal.c(), crystal.alpha(),
                                    crystal.beta(), crystal.gamma()}}};
  nlohmann::json ops = nlohmann::json::array();
  for (const auto& op : crystal.listed_operators())
    ops.push_back(op.to_xyz());
  entry["operators"] = ops;
  entry["notices"] = crystal.notices();
  return entry;
}

nlohmann::json match_record(const EntryOutcome& e, std::size_t m, const std::string& motif_name) {
  const MotifMatch& match = *e.matches.at(m);
  const MatchDescription d = describe_match(*e.resource, match);
  nlohmann::json j = {{"record", "match"},
                      {"entry", e.id.str()},
                      {"motif", motif_name},
                      {"match", m + 1}};
  nlohmann::json subs = nlohmann::json::array();
  for (std::size_t s = 0; s < match.substructure_matches.size(); ++s) {
    const SubstructureMatch& sm = *match.substructure_matches[s];
    nlohmann::json atoms = nlohmann::json::array();
    for (const DescribedAtom& a : d.atoms)
      if (a.substructure == static_cast<int>(s))
        atoms.push_back(atom_json(a));
    subs.push_back({{"substructure", s},
                    {"molecule", sm.nmol_in_cm},
                    {"copy", sm.nmol_in_msr},
                    {"atoms", atoms}});
  }
  j["substructures"] = subs;
  // Every atom of the molecules the match places, as [label_code, element, x, y, z] in
  // fractional coordinates: enough to draw the match or write it as a P1 CIF.
  nlohmann::json molecules = nlohmann::json::array();
  for (const DescribedMolecule& mol : describe_molecules(*e.resource, match)) {
    nlohmann::json atoms = nlohmann::json::array();
    for (const DescribedAtom& a : mol.atoms)
      atoms.push_back({a.label + '_' + a.code, a.element, rounded_fraction(a.fractional[0]),
                       rounded_fraction(a.fractional[1]), rounded_fraction(a.fractional[2])});
    molecules.push_back({{"copy", mol.copy}, {"molecule", mol.molecule}, {"atoms", atoms}});
  }
  j["molecules"] = molecules;
  nlohmann::json contacts = nlohmann::json::array();
  for (const DescribedContact& c : d.contacts) {
    nlohmann::json k = {{"contact", c.contact},
                        {"kind", contact_kind_name(c.kind)},
                        {"from", atom_json(d.atoms[c.from])},
                        {"to", atom_json(d.atoms[c.to])},
                        {"distance", rounded(c.distance)}};
    if (c.kind == ContactKind::HydrogenBond)
      k["hydrogen_bond"] = {{"donor", atom_json(c.donor)},
                            {"hydrogen", atom_json(c.hydrogen)},
                            {"acceptor", atom_json(c.acceptor)},
                            {"d_h", rounded(c.d_h)},
                            {"h_a", rounded(c.h_a)},
                            {"d_a", rounded(c.d_a)},
                            {"angle", std::round(c.angle * 10) / 10}};
    contacts.push_back(k);
  }
  j["contacts"] = contacts;
  if (!d.graph_set.empty())
    j["graph_set"] = d.graph_set;
  return j;
}

CollectionTally tally(const std::vector<EntryOutcome>& outcomes, std::size_t problems) {
  CollectionTally t;
  t.refused = static_cast<int>(problems);
  for (const auto& o : outcomes)
    t.add(o);
  return t;
}

nlohmann::json summary_record(const std::string& motif_name, const CollectionTally& t) {
  nlohmann::json summary = {{"record", "summary"},       {"motif", motif_name},
                            {"entries", t.entries},       {"searched", t.searched},
                            {"prescreened", t.prescreened}, {"filtered", t.filtered},
                            {"refused", t.refused},       {"aborted", t.aborted},
                            {"candidates", t.candidates}, {"hits", t.hits},
                            {"matches", t.matches},       {"aborted_entries", t.aborted_entries}};
  if (t.candidates > 0) {
    const auto [low, high] = MotifSearchLibFunctions::wilson_interval(t.hits, t.candidates);
    summary["propensity"] = static_cast<double>(t.hits) / t.candidates;
    summary["propensity_interval"] = {low, high};
  }
  return summary;
}

std::string record_line(const nlohmann::json& record) {
  return record.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace xtalmotif
