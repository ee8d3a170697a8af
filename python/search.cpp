// xtalmotif.search(): a collection search run by the library's driver on the threads of the
// program's thread pool, with the hits described by the records the program writes with --json.

#include "python/binding.h"

#include "apps/thread_pool.h"

#include "crystal/cif_reader.h"
#include "db/aser_database.h"
#include "db/database.h"
#include "search/collection_search.h"
#include "search/match_records.h"

#include <pybind11/stl.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace xtalmotif::python {

namespace {

using json = nlohmann::json;

std::optional<double> number(const json& j) {
  if (!j.is_number())
    return std::nullopt;
  return j.get<double>();
}

/// One matched atom: its site, where the match has it, and the query atom it matched.
struct MatchAtom {
  std::string label, element, symmetry, query_label;
  int site = 0;
  std::optional<int> substructure, query_atom;
  std::array<double, 3> fract{};

  explicit MatchAtom(const json& j)
      : label(j.at("atom")), element(j.at("element")), symmetry(j.at("symmetry")),
        query_label(j.value("query_label", "")), site(j.at("site")),
        fract(j.at("fract").get<std::array<double, 3>>()) {
    if (j.contains("substructure")) {
      substructure = j.at("substructure").get<int>();
      query_atom = j.at("query_atom").get<int>();
    }
  }
};

struct HydrogenBond {
  MatchAtom donor, hydrogen, acceptor;
  std::optional<double> d_h, h_a, d_a, angle;

  explicit HydrogenBond(const json& j)
      : donor(j.at("donor")), hydrogen(j.at("hydrogen")), acceptor(j.at("acceptor")),
        d_h(number(j.at("d_h"))), h_a(number(j.at("h_a"))), d_a(number(j.at("d_a"))),
        angle(number(j.at("angle"))) {}
};

struct Contact {
  int index;
  std::string kind;
  MatchAtom from, to;
  std::optional<double> distance;
  std::optional<HydrogenBond> hydrogen_bond;

  explicit Contact(const json& j)
      : index(j.at("contact")), kind(j.at("kind")), from(j.at("from")), to(j.at("to")),
        distance(number(j.at("distance"))) {
    if (j.contains("hydrogen_bond"))
      hydrogen_bond.emplace(j.at("hydrogen_bond"));
  }
};

/// One match of a motif in one entry: the program's match record and its entry's record.
struct Hit {
  std::shared_ptr<const json> entry;
  json match;

  std::string text(const json& j, const char* key) const { return j.at(key).get<std::string>(); }
};

struct Hits {
  std::string motif;
  std::vector<std::shared_ptr<Hit>> hits;
  std::vector<std::string> refused;
  json summary;
};

// The program's TSV columns, one row per contact, with the entry's block beside its file.
py::dict contact_row(const Hit& h, const json* contact) {
  py::dict row;
  const json& m = h.match;
  row["entry"] = to_python(m.at("entry"));
  row["file"] = to_python(h.entry->at("file"));
  row["block"] = to_python(h.entry->at("block"));
  row["match"] = to_python(m.at("match"));
  row["graph_set"] = to_python(m.value("graph_set", json()));
  const json none;
  const json& c = contact ? *contact : none;
  auto field = [&](const json& j, const char* key) {
    return j.is_object() && j.contains(key) ? to_python(j.at(key)) : py::none();
  };
  row["contact"] = field(c, "contact");
  row["kind"] = field(c, "kind");
  for (const char* end : {"from", "to"}) {
    const json& a = c.is_object() ? c.at(end) : none;
    const std::string p = std::string(end) + "_";
    row[py::str(p + "substructure")] = field(a, "substructure");
    row[py::str(p + "query_atom")] = field(a, "query_atom");
    row[py::str(p + "query_label")] = field(a, "query_label");
    row[py::str(p + "atom")] = field(a, "atom");
    row[py::str(p + "symmetry")] = field(a, "symmetry");
  }
  row["distance"] = field(c, "distance");
  const json& hb = c.is_object() && c.contains("hydrogen_bond") ? c.at("hydrogen_bond") : none;
  for (const char* role : {"donor", "hydrogen", "acceptor"}) {
    const json& a = hb.is_object() ? hb.at(role) : none;
    row[role] = field(a, "atom");
    row[py::str(std::string(role) + "_symmetry")] = field(a, "symmetry");
  }
  row["d_h"] = field(hb, "d_h");
  row["h_a"] = field(hb, "h_a");
  row["d_a"] = field(hb, "d_a");
  row["angle_dha"] = field(hb, "angle");
  return row;
}

Hits run_search(const py::object& motif_argument_object, const py::object& sources_argument,
                int jobs, const py::object& index, bool all, unsigned int limit,
                unsigned int ceiling, std::uint64_t work_budget, const py::object& progress) {
  const PyMotif motif = motif_argument(motif_argument_object);
  if (motif.build()->nsubstructures() == 0)
    throw MotifError("motif \"" + motif.name + "\" has no substructures");
  if (jobs < 1 || jobs > 256)
    throw py::value_error("jobs is a number of threads from 1 to 256");
  if (!all && limit == 0)
    throw py::value_error("limit is at least 1; all=True keeps every match");
  if (ceiling == 0)
    throw py::value_error("ceiling is at least 1");
  const std::vector<std::string> paths = path_arguments(sources_argument);
  const std::vector<std::string> index_paths = path_arguments(index);
  if (index_paths.size() > 1)
    throw py::type_error("index is one screen index file");
  if (index_paths.empty() && paths.empty())
    throw py::value_error("no structures to search: give CIF files or folders, or index=");
  if (!index_paths.empty() && !paths.empty())
    throw py::value_error("a screen index records its own CIF files: give it without sources");
  for (const auto& p : index_paths.empty() ? paths : index_paths) {
    std::error_code ec;
    if (!std::filesystem::exists(p, ec))
      throw MissingFile(p);
  }

  CollectionSearchSettings settings;
  settings.limit = all ? 0 : limit;
  settings.ceiling = ceiling;
  settings.work_budget = work_budget;
  settings.prepare = motif.prepare;
  std::function<void()> tick;
  std::atomic<int> done{0};
  int total = 0;
  std::vector<std::vector<json>> records; // per entry: its entry record, then its matches
  std::vector<EntryOutcome> outcomes;
  std::vector<std::string> problems;
  std::exception_ptr failure;
  {
    py::gil_scoped_release release;
    try {
      THandle<AserDatabase> screens;
      THandle<Database<CrystalStructureDatabaseEntry>> db;
      if (!index_paths.empty()) {
        screens = make_handle<AserDatabase>(index_paths[0]);
        db = screens;
      } else {
        db = make_handle<CifDatabase>(paths);
      }
      problems = db->problems();
      if (db->nentries() == 0 && problems.empty())
        throw CifError("no CIF data blocks found in the given sources");
      total = db->nentries();
      records.resize(static_cast<std::size_t>(total));
      // Ctrl-C and the progress callback are seen on the calling thread, with the lock held.
      app::ThreadPool executor(jobs, [&] {
        py::gil_scoped_acquire gil;
        if (PyErr_CheckSignals() != 0)
          throw py::error_already_set();
        if (!progress.is_none())
          progress(done.load(), total);
      });
      outcomes = CollectionSearch(db, screens, settings)
                     .search([&] { return motif.build(); }, &executor,
                             [&](int i, const EntryOutcome& o) {
                               // Described on the worker, while the structure is at hand.
                               if (!o.matches.empty()) {
                                 auto& r = records[static_cast<std::size_t>(i)];
                                 r.push_back(entry_record(o));
                                 for (std::size_t m = 0; m < o.matches.size(); ++m)
                                   r.push_back(match_record(o, m, motif.name));
                               }
                               ++done;
                             });
    } catch (...) {
      failure = std::current_exception();
    }
  }
  if (failure)
    std::rethrow_exception(failure);

  Hits out;
  out.motif = motif.name;
  out.refused = problems;
  for (const auto& o : outcomes)
    if (o.status == EntryStatus::Refused)
      out.refused.push_back(o.reason);
  out.summary = summary_record(motif.name, tally(outcomes, problems.size()));
  for (auto& r : records) {
    if (r.empty())
      continue;
    auto entry = std::make_shared<const json>(std::move(r[0]));
    for (std::size_t k = 1; k < r.size(); ++k)
      out.hits.push_back(std::make_shared<Hit>(Hit{entry, std::move(r[k])}));
  }
  return out;
}

std::string optional_text(const std::optional<double>& v) {
  if (!v)
    return "None";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", *v);
  return buf;
}

} // namespace

namespace {

// A hit's atoms, hydrogen bonds and contacts.
void bind_match_parts(py::module_& m) {
  py::class_<MatchAtom>(m, "MatchAtom",
                        "An atom of a hit: its site in the file and the symmetry code that puts "
                        "it where the match has it.")
      .def_readonly("label", &MatchAtom::label,
                    "The site's label ('H20#45' where a label names two sites).")
      .def_readonly("element", &MatchAtom::element, "Element symbol.")
      .def_readonly("site", &MatchAtom::site, "Row of the file's atom-site loop, from 1.")
      .def_readonly("symmetry", &MatchAtom::symmetry,
                    "Symmetry code n_klm: operator n of Hit.operators applied to the site, "
                    "moved k-5, l-5, m-5 cells along a, b, c.")
      .def_readonly("fract", &MatchAtom::fract, "Fractional coordinates where the match has it.")
      .def_readonly("substructure", &MatchAtom::substructure,
                    "The motif substructure it matched, or None (a hydrogen the query does "
                    "not name).")
      .def_readonly("query_atom", &MatchAtom::query_atom,
                    "The query atom it matched, numbered within its substructure, or None.")
      .def_readonly("query_label", &MatchAtom::query_label,
                    "The query's name for that atom ('AT4'), or ''.")
      .def("__repr__", [](const MatchAtom& a) {
        return "<MatchAtom " + a.label + "(" + a.symmetry + ")>";
      });

  py::class_<HydrogenBond>(m, "HydrogenBond",
                           "A contact's hydrogen bond D-H...A: its atoms and geometry.")
      .def_readonly("donor", &HydrogenBond::donor, "D, a MatchAtom.")
      .def_readonly("hydrogen", &HydrogenBond::hydrogen, "H, a MatchAtom.")
      .def_readonly("acceptor", &HydrogenBond::acceptor, "A, a MatchAtom.")
      .def_readonly("d_h", &HydrogenBond::d_h, "D-H in angstrom.")
      .def_readonly("h_a", &HydrogenBond::h_a, "H...A in angstrom.")
      .def_readonly("d_a", &HydrogenBond::d_a, "D...A in angstrom.")
      .def_readonly("angle", &HydrogenBond::angle, "The D-H...A angle in degrees.")
      .def("__repr__", [](const HydrogenBond& h) {
        return "<HydrogenBond " + h.donor.label + "-" + h.hydrogen.label + "..." +
               h.acceptor.label + "(" + h.acceptor.symmetry + ") H...A " +
               optional_text(h.h_a) + ">";
      });

  py::class_<Contact>(m, "Contact", "A contact of a hit, as the motif asked for it.")
      .def_readonly("index", &Contact::index, "The motif's contact number.")
      .def_readonly("kind", &Contact::kind,
                    "'hydrogen bond', 'short contact', or 'constraint' for a contact that only "
                    "keeps groups apart or together.")
      .def_readonly("from_atom", &Contact::from, "The first atom, a MatchAtom.")
      .def_readonly("to_atom", &Contact::to, "The second atom, a MatchAtom.")
      .def_readonly("distance", &Contact::distance, "Distance in angstrom.")
      .def_readonly("hydrogen_bond", &Contact::hydrogen_bond,
                    "The HydrogenBond this contact is, or None.")
      .def("__repr__", [](const Contact& c) {
        return "<Contact " + std::to_string(c.index) + " " + c.kind + " " + c.from.label + "(" +
               c.from.symmetry + ")..." + c.to.label + "(" + c.to.symmetry + ") " +
               optional_text(c.distance) + ">";
      });
}

// A hit.
void bind_hit(py::module_& m) {
  py::class_<Hit, std::shared_ptr<Hit>>(m, "Hit",
                                        "One match of a motif in one entry, with the facts the "
                                        "program's --json records carry.")
      .def_property_readonly(
          "entry", [](const Hit& h) { return to_python(h.match.at("entry")); }, "Entry name.")
      .def_property_readonly(
          "file", [](const Hit& h) { return to_python(h.entry->at("file")); },
          "The CIF file as the sources gave it.")
      .def_property_readonly(
          "block", [](const Hit& h) { return to_python(h.entry->at("block")); }, "Data block.")
      .def_property_readonly(
          "match", [](const Hit& h) { return h.match.at("match").get<int>(); },
          "The match's number within its entry, from 1.")
      .def_property_readonly(
          "motif", [](const Hit& h) { return to_python(h.match.at("motif")); }, "Motif name.")
      .def_property_readonly(
          "graph_set", [](const Hit& h) { return to_python(h.match.value("graph_set", json())); },
          "Graph-set descriptor of the match's hydrogen bonds ('R2,2(8)'), or None.")
      .def_property_readonly(
          "cell", [](const Hit& h) { return to_python(h.entry->at("cell")); },
          "The entry's cell [a, b, c, alpha, beta, gamma].")
      .def_property_readonly(
          "operators", [](const Hit& h) { return to_python(h.entry->at("operators")); },
          "The operators the symmetry codes number, as the file lists them.")
      .def_property_readonly(
          "contacts",
          [](const Hit& h) {
            std::vector<Contact> out;
            for (const auto& c : h.match.at("contacts"))
              out.emplace_back(c);
            return out;
          },
          "The contacts, as a list of Contact.")
      .def_property_readonly(
          "atoms",
          [](const Hit& h) {
            std::vector<std::vector<MatchAtom>> out;
            for (const auto& s : h.match.at("substructures")) {
              out.emplace_back();
              for (const auto& a : s.at("atoms"))
                out.back().emplace_back(a);
            }
            return out;
          },
          "The matched atoms, one list of MatchAtom per substructure in query atom order.")
      .def_property_readonly(
          "record", [](const Hit& h) { return to_python(h.match); },
          "The match record the program writes with --json, as a dict.")
      .def_property_readonly(
          "entry_record", [](const Hit& h) { return to_python(*h.entry); },
          "The entry record the program writes with --json before the entry's matches.")
      .def("__repr__", [](const Hit& h) {
        return "<Hit " + h.text(h.match, "entry") + " match " +
               std::to_string(h.match.at("match").get<int>()) + " " +
               h.match.value("graph_set", std::string()) + ">";
      });
}

// The sequence of hits a search returns.
void bind_hits(py::module_& m) {
  py::class_<Hits>(m, "Hits",
                   "The hits of a search, a sequence of Hit in entry order, with what became "
                   "of the entries.")
      .def("__len__", [](const Hits& h) { return h.hits.size(); }, "Number of hits (matches).")
      .def(
          "__getitem__",
          [](const Hits& h, py::ssize_t i) {
            const auto n = static_cast<py::ssize_t>(h.hits.size());
            if (i < 0)
              i += n;
            if (i < 0 || i >= n)
              throw py::index_error("hit index out of range");
            return h.hits[static_cast<std::size_t>(i)];
          },
          "The hit at this position.")
      .def(
          "__getitem__",
          [](const Hits& h, const py::slice& s) {
            std::size_t start = 0, stop = 0, step = 0, length = 0;
            if (!s.compute(h.hits.size(), &start, &stop, &step, &length))
              throw py::error_already_set();
            std::vector<std::shared_ptr<Hit>> out;
            for (std::size_t k = 0; k < length; ++k, start += step)
              out.push_back(h.hits[start]);
            return out;
          },
          "A list of the hits in the slice.")
      .def(
          "__iter__",
          [](const Hits& h) { return py::make_iterator(h.hits.begin(), h.hits.end()); },
          py::keep_alive<0, 1>(), "The hits in entry order, each entry's in match order.")
      .def_readonly("motif", &Hits::motif, "The motif's name.")
      .def_readonly("refused", &Hits::refused,
                    "Entries and sources that could not be read, each as 'FILE: ...reason', "
                    "skipped by the search.")
      .def_property_readonly(
          "entries",
          [](const Hits& h) {
            std::vector<py::object> names;
            for (const auto& hit : h.hits)
              if (names.empty() || !names.back().equal(to_python(hit->match.at("entry"))))
                names.push_back(to_python(hit->match.at("entry")));
            return names;
          },
          "The names of the entries with hits, in order.")
      .def_property_readonly(
          "summary", [](const Hits& h) { return to_python(h.summary); },
          "The program's summary record: entries searched, prescreened, filtered, refused and "
          "aborted (with aborted_entries, those stopped at the work budget), candidates "
          "(entries holding every group of the motif), hits, matches, and the "
          "propensity with its 95% Wilson interval.")
      .def(
          "to_records",
          [](const Hits& h) {
            py::list rows;
            for (const auto& hit : h.hits) {
              const json& contacts = hit->match.at("contacts");
              if (contacts.empty())
                rows.append(contact_row(*hit, nullptr));
              for (const auto& c : contacts)
                rows.append(contact_row(*hit, &c));
            }
            return rows;
          },
          "One flat dict per contact of every hit (entry, file, block, match, graph_set, "
          "contact, kind, each end's substructure, query atom and label, atom and symmetry "
          "code, distance, donor, hydrogen and acceptor with their codes, d_h, h_a, d_a, "
          "angle_dha; None where a field does not apply), the columns of the program's --tsv: "
          "pandas.DataFrame(hits.to_records()) makes a table of them.")
      .def("__repr__", [](const Hits& h) {
        return "<Hits '" + h.motif + "': " + std::to_string(h.hits.size()) + " matches, " +
               std::to_string(h.refused.size()) + " refused>";
      });
}

} // namespace

void bind_search(py::module_& m) {
  bind_match_parts(m);
  bind_hit(m);
  bind_hits(m);
  m.def("search", &run_search, py::arg("motif"), py::arg("sources") = py::none(),
        py::kw_only(), py::arg("jobs") = 1, py::arg("index") = py::none(),
        py::arg("all") = false, py::arg("limit") = 1, py::arg("ceiling") = 1000,
        py::arg("work_budget") = CollectionSearchSettings::default_work_budget,
        py::arg("progress") = py::none(),
        R"(Searches crystal structures for a motif and returns the Hits.

motif: a Motif, a ready-made motif's name or a query file. sources: a CIF file (plain or
gzipped, any number of data blocks), a folder searched recursively for them, or a list of
these; or index: a screen index made by `xtalmotif index`, whose prescreen skips the entries
that cannot hold the motif. limit: matches kept per entry; all=True keeps every match, up to
`ceiling` per entry. work_budget: the work an entry's search may do (about a microsecond a
unit; 0: no bound) before it stops, the entry listed in summary["aborted_entries"]. jobs:
structures searched at a time, each on a thread of its own; the hits
are the same whatever the number. progress: called as progress(done, total) with entry counts
about ten times a second and at the end.

The search runs without the interpreter lock. Entries that cannot be read are skipped and listed
in Hits.refused; a missing source raises FileNotFoundError, an unknown motif MotifError.)");
}

} // namespace xtalmotif::python
