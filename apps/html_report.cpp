#include "apps/html_report.h"

#include "apps/match_report.h"
#include "apps/motif_catalog.h"
#include "core/atomic_file.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

namespace xtalmotif::app {

// The molecular viewer's script, embedded at build time; empty when it was not installed.
extern const char viewer_script[];

namespace {

using nlohmann::json;

const char* const dots = "\u00b7\u00b7\u00b7";

// The records of a search's JSON Lines, read back. Each match follows the record of its entry.
struct HitRecords {
  std::vector<json> entries;
  std::vector<json> matches;  // in the order written
  std::vector<json> entry_of; // each match's entry record, null when it has none
  json summary;               // null when the file has none
};

HitRecords read_records(std::istream& in) {
  HitRecords r;
  std::string line;
  for (int n = 1; std::getline(in, line); ++n) {
    if (line.find_first_not_of(" \t\r") == std::string::npos)
      continue;
    json j = json::parse(line, nullptr, false);
    const std::string kind = j.is_object() ? j.value("record", "") : "";
    if (kind == "entry") {
      r.entries.push_back(std::move(j));
    } else if (kind == "match") {
      const bool after_entry =
          !r.entries.empty() && r.entries.back().value("entry", "") == j.value("entry", "");
      r.entry_of.push_back(after_entry ? r.entries.back() : json());
      r.matches.push_back(std::move(j));
    } else if (kind == "summary") {
      r.summary = std::move(j);
    } else {
      throw UsageError("line " + std::to_string(n) +
                       ": not an entry, match or summary record of `xtalmotif search --json`");
    }
  }
  if (r.matches.empty() && r.summary.is_null())
    throw UsageError("no records of `xtalmotif search --json`");
  return r;
}

std::string escaped(const std::string& s) {
  std::string out;
  for (char c : s)
    switch (c) {
    case '&': out += "&amp;"; break;
    case '<': out += "&lt;"; break;
    case '>': out += "&gt;"; break;
    case '"': out += "&quot;"; break;
    default: out += c;
    }
  return out;
}

// Text inside a <script> element ends at the first "</script": JSON and scripts write it as
// "<\/script", which means the same to both.
std::string script_safe(std::string s) {
  for (std::size_t at = s.find("</"); at != std::string::npos; at = s.find("</", at + 3))
    s.insert(at + 1, "\\");
  return s;
}

std::string fixed(double v, int places) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.*f", places, v);
  return buf;
}

double number(const json& j, const char* key) {
  auto it = j.find(key);
  return it != j.end() && it->is_number() ? it->get<double>() : NAN;
}

// An atom of a contact as a hydrogen-bond table writes it: its label, and its symmetry code
// where that is not the identity.
std::string placed(const json& atom) {
  std::string label = atom.value("atom", "?"), code = atom.value("symmetry", "1_555");
  return code == "1_555" ? label : label + "(" + code + ")";
}

// One contact of a match, for the plots and the table.
struct ContactPoint {
  double h_a = NAN, angle = NAN; ///< hydrogen bonds only
  double d_a = NAN;              ///< D...A of a hydrogen bond, else the contact distance
  std::string text;
};

// The motif's distance constraints are limits on the shape of a match, not contacts: they are
// neither drawn nor plotted.
bool is_constraint(const json& contact) { return contact.value("kind", "") == "constraint"; }

ContactPoint contact_point(const json& c) {
  ContactPoint p;
  const json hb = c.value("hydrogen_bond", json());
  if (hb.is_object()) {
    p.h_a = number(hb, "h_a");
    p.d_a = number(hb, "d_a");
    p.angle = number(hb, "angle");
    p.text = placed(hb.value("donor", json::object())) + "-" +
             hb.value("hydrogen", json::object()).value("atom", "?") + dots +
             placed(hb.value("acceptor", json::object())) + " " + fixed(p.h_a, 3) + " / " +
             fixed(p.d_a, 3) + " \u00c5, " + fixed(p.angle, 1) + "\u00b0";
  } else {
    p.d_a = number(c, "distance");
    p.text = placed(c.value("from", json::object())) + dots +
             placed(c.value("to", json::object())) + " " + fixed(p.d_a, 3) + " \u00c5";
  }
  return p;
}

// A step of 1, 2 or 5 times a power of ten that cuts `span` into at most `most` parts.
double nice_step(double span, int most) {
  const double raw = span > 0 ? span / most : 0.01;
  const double p = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0})
    if (m * p >= raw)
      return m * p;
  return 10 * p;
}

// A plot's frame: data ranges mapped onto the drawing area of an SVG of 440 x 240.
struct Frame {
  double x0, x1, y0, y1;
  static constexpr double left = 48, right = 428, top = 10, bottom = 200;
  double x(double v) const { return left + (v - x0) / (x1 - x0) * (right - left); }
  double y(double v) const { return bottom - (v - y0) / (y1 - y0) * (bottom - top); }
};

// Decimal places that tell apart the ticks `step` apart.
int places_for(double step) {
  return std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
}

void write_axes(std::ostream& os, const Frame& f, double ystep, const std::string& x_label,
                const std::string& y_label) {
  os << "<path class=\"axis\" d=\"M" << f.left << ' ' << f.top << "V" << f.bottom << "H" << f.right
     << "\"/>";
  const double xstep = nice_step(f.x1 - f.x0, 6);
  // Adding 0.0 turns a -0 tick into 0.
  for (double v = std::ceil(f.x0 / xstep - 1e-9) * xstep; v <= f.x1 + 1e-9; v += xstep)
    os << "<text x=\"" << fixed(f.x(v), 1) << "\" y=\"" << f.bottom + 14
       << "\" text-anchor=\"middle\">" << fixed(v + 0.0, places_for(xstep)) << "</text>";
  for (double v = std::ceil(f.y0 / ystep - 1e-9) * ystep; v <= f.y1 + 1e-9; v += ystep)
    os << "<text x=\"" << f.left - 4 << "\" y=\"" << fixed(f.y(v) + 4, 1)
       << "\" text-anchor=\"end\">" << fixed(v + 0.0, places_for(ystep)) << "</text>";
  os << "<text x=\"" << (f.left + f.right) / 2 << "\" y=\"232\" text-anchor=\"middle\">" << x_label
     << "</text><text transform=\"translate(12 " << (f.top + f.bottom) / 2
     << ") rotate(-90)\" text-anchor=\"middle\">" << y_label << "</text>";
}

void write_histogram(std::ostream& os, const std::vector<double>& values,
                     const std::string& x_label) {
  const auto [lo_it, hi_it] = std::minmax_element(values.begin(), values.end());
  // Bins no narrower than 0.01 A, the precision of published distances, and at least ten of
  // them across the plot, so that a single distance is a bar, not the whole frame.
  const double step = nice_step(std::max(*hi_it - *lo_it, 0.1), 30);
  int bins = static_cast<int>(std::floor((*hi_it - *lo_it) / step + 1e-9)) + 1;
  const double lo = (std::floor(*lo_it / step) - std::max(0, (10 - bins) / 2)) * step;
  bins = std::max(bins, 10);
  std::vector<int> counts(bins, 0);
  for (double v : values)
    ++counts[std::min(bins - 1, static_cast<int>(std::floor((v - lo) / step + 1e-9)))];
  const int most = *std::max_element(counts.begin(), counts.end());
  const double ystep = std::max(1.0, nice_step(most, 5));
  const Frame f{lo, lo + bins * step, 0.0, std::ceil(most / ystep) * ystep};
  os << "<svg id=\"histogram\" viewBox=\"0 0 440 240\" width=\"440\" height=\"240\">";
  for (int b = 0; b < bins; ++b)
    if (counts[b] > 0)
      os << "<rect x=\"" << fixed(f.x(lo + b * step), 1) << "\" y=\"" << fixed(f.y(counts[b]), 1)
         << "\" width=\"" << fixed(std::max(1.0, f.x(step) - f.x(0) - 1), 1) << "\" height=\""
         << fixed(f.y(0) - f.y(counts[b]), 1) << "\"><title>" << fixed(lo + b * step, 2) << "-"
         << fixed(lo + (b + 1) * step, 2) << " \u00c5: " << counts[b] << "</title></rect>";
  write_axes(os, f, ystep, x_label, "contacts");
  os << "</svg>";
}

struct ScatterPoint {
  double distance, angle;
  std::size_t row;
};

void write_scatter(std::ostream& os, const std::vector<ScatterPoint>& points,
                   const std::vector<std::string>& row_names, const std::string& x_label) {
  double x0 = points[0].distance, x1 = x0, y0 = points[0].angle;
  for (const auto& p : points) {
    x0 = std::min(x0, p.distance);
    x1 = std::max(x1, p.distance);
    y0 = std::min(y0, p.angle);
  }
  // A margin around the points, so that none sits on an axis.
  const Frame f{std::floor(x0 * 10 - 0.5) / 10, std::ceil(x1 * 10 + 0.5) / 10,
                std::min(std::floor(y0 / 10 - 0.5) * 10, 160.0), 180.0};
  os << "<svg id=\"scatter\" viewBox=\"0 0 440 240\" width=\"440\" height=\"240\">";
  // The row number lets a click on a point select its match.
  for (const auto& p : points)
    os << "<circle cx=\"" << fixed(f.x(p.distance), 1) << "\" cy=\"" << fixed(f.y(p.angle), 1)
       << "\" r=\"3\" data-i=\"" << p.row << "\"><title>" << row_names[p.row] << ": "
       << fixed(p.distance, 3) << " \u00c5, " << fixed(p.angle, 1) << "\u00b0</title></circle>";
  write_axes(os, f, nice_step(f.y1 - f.y0, 5), x_label,
             "D-H" + std::string(dots) + "A angle (\u00b0)");
  os << "</svg>";
}

// The molecules of one match as the viewer reads them: P1 CIF text, and each contact as the
// rows of its two atoms in that text with its distance.
json viewer_structure(const json& match, const json& entry, std::size_t index) {
  const json cell = entry.is_object() ? entry.value("cell", json()) : json();
  if (!cell.is_array() || cell.size() != 6 || !match.contains("molecules"))
    return nullptr;
  std::vector<P1Atom> atoms;
  std::map<std::string, std::size_t> row_of;
  for (const json& mol : match["molecules"])
    for (const json& a : mol.value("atoms", json::array())) {
      row_of.emplace(a.at(0).get<std::string>(), atoms.size());
      atoms.push_back({a.at(0).get<std::string>(),
                       a.at(1).get<std::string>(),
                       {a.at(2).get<double>(), a.at(3).get<double>(), a.at(4).get<double>()}});
    }
  json contacts = json::array();
  for (const json& c : match.value("contacts", json::array())) {
    if (is_constraint(c))
      continue;
    auto end = [&](const char* which) {
      const json& a = c.value(which, json::object());
      return row_of.find(a.value("atom", "") + "_" + a.value("symmetry", ""));
    };
    auto from = end("from"), to = end("to");
    if (from != row_of.end() && to != row_of.end())
      contacts.push_back({from->second, to->second, number(c, "distance")});
  }
  std::ostringstream cif;
  std::array<double, 6> axes{};
  for (std::size_t k = 0; k < 6; ++k)
    axes[k] = cell[k].get<double>();
  write_p1_cif(cif, "match" + std::to_string(index), axes, atoms);
  return {{"cif", cif.str()}, {"contacts", contacts}};
}

std::string plural(long n, const std::string& one, const std::string& many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string summary_text(const HitRecords& r, std::size_t structures) {
  const json& s = r.summary;
  std::ostringstream os;
  if (s.is_object()) {
    os << plural(s.value("entries", 0L), "entry", "entries") << ", " << s.value("searched", 0L)
       << " searched; " << plural(s.value("hits", 0L), "entry", "entries") << " with hits, "
       << plural(s.value("matches", 0L), "match", "matches") << '.';
    if (s.contains("propensity") && s.contains("propensity_interval"))
      os << " Propensity " << std::lround(100 * number(s, "propensity"))
         << "%: " << s.value("hits", 0L) << " of "
         << plural(s.value("candidates", 0L), "entry", "entries")
         << " holding every group of the motif (95% interval "
         << std::lround(100 * s["propensity_interval"].at(0).get<double>()) << "-"
         << std::lround(100 * s["propensity_interval"].at(1).get<double>()) << "%).";
  } else {
    os << plural(static_cast<long>(r.entries.size()), "entry", "entries") << " with hits, "
       << plural(static_cast<long>(r.matches.size()), "match", "matches") << '.';
  }
  if (structures < r.matches.size())
    os << " The 3D view holds the molecules of the first " << structures << " matches.";
  return os.str();
}

const char* const style = R"css(
body{font:14px/1.4 system-ui,sans-serif;margin:1em 2em;color:#222}
h1{font-size:1.4em;margin:.2em 0}
.top{display:flex;flex-wrap:wrap;gap:1.5em;align-items:flex-start}
figure{margin:0}figcaption{font-size:.9em;color:#444;max-width:600px}
#viewer{width:600px;height:440px;position:relative;border:1px solid #ccc}
.note{color:#8a4b00;background:#fff6e0;padding:.5em;max-width:600px}
svg text{font-size:11px;fill:#333}svg .axis{fill:none;stroke:#555}
svg rect{fill:#4a78b5}svg circle{fill:#c0392b;fill-opacity:.55;cursor:pointer}
svg circle.sel{fill:#f1c40f;fill-opacity:1;stroke:#000}
table{border-collapse:collapse;margin-top:1em}
th,td{padding:2px 8px;border-bottom:1px solid #eee;text-align:left;vertical-align:top}
th{position:sticky;top:0;background:#eef;cursor:pointer;user-select:none}
th.asc::after{content:" \25b2"}th.desc::after{content:" \25bc"}
td.n{text-align:right}td:nth-child(3){word-break:break-all;min-width:12em}tbody tr{cursor:pointer}tbody tr:hover{background:#f6f6f6}
tbody tr.sel{background:#ffe9a8}
)css";

// Selecting a row shows its match; a header sorts by its column; a point of the scatter selects
// the match it belongs to.
const char* const page_script = R"js(
(() => {
  const table = document.getElementById('hits');
  const body = table.tBodies[0];
  const rows = Array.from(body.rows);
  const data = document.getElementById('structures');
  const structures = data ? JSON.parse(data.textContent) : [];
  const box = document.getElementById('viewer');
  const cell = document.getElementById('cell');
  const caption = document.getElementById('caption');
  let viewer = null;
  let current = -1;
  // Where WebGL runs in software (no graphics processor: a headless browser, a plain virtual
  // machine), smoothed edges make every frame several times slower, so they are left off there.
  function softwareWebGL() {
    const gl = document.createElement('canvas').getContext('webgl');
    if (!gl) return false;
    const info = gl.getExtension('WEBGL_debug_renderer_info');
    const name = String(gl.getParameter(info ? info.UNMASKED_RENDERER_WEBGL : gl.RENDERER));
    const lose = gl.getExtension('WEBGL_lose_context');
    if (lose) lose.loseContext();
    return /swiftshader|llvmpipe|softpipe|software/i.test(name);
  }
  if (box) {
    try {
      viewer = $3Dmol.createViewer(box, {backgroundColor: 'white', antialias: !softwareWebGL()});
    } catch (e) {
      box.outerHTML = '<p class="note">The 3D view is unavailable: this browser offers no WebGL.</p>';
    }
  }
  // The rotation that looks at the given atoms face on: along the normal of their best plane,
  // the weakest direction of their spread, found by power iteration. Rings of contacts are seen
  // open and a single contact at its full length.
  function faceOn(atoms) {
    const c = ['x', 'y', 'z'].map(k => atoms.reduce((sum, a) => sum + a[k], 0) / atoms.length);
    const d = atoms.map(a => [a.x - c[0], a.y - c[1], a.z - c[2]]);
    const m = [0, 1, 2].map(i => [0, 1, 2].map(j => d.reduce((sum, v) => sum + v[i] * v[j], 0)));
    const trace = m[0][0] + m[1][1] + m[2][2];
    let v = [0.36, 0.48, 0.8];
    for (let k = 0; k < 60; ++k) {
      const w = [0, 1, 2].map(i => trace * v[i] - m[i][0] * v[0] - m[i][1] * v[1] - m[i][2] * v[2]);
      const length = Math.hypot(...w);
      if (length < 1e-9) return [0, 0, 0, 1];
      v = w.map(x => x / length);
    }
    if (v[2] < 0) v = v.map(x => -x);
    // A turn about v x z takes v onto z, the line of sight.
    const s = Math.hypot(v[0], v[1]);
    if (s < 1e-6) return [0, 0, 0, 1];
    const half = Math.acos(v[2]) / 2;
    return [v[1] / s * Math.sin(half), -v[0] / s * Math.sin(half), 0, Math.cos(half)];
  }
  // Each call that redraws costs a frame, and frames are slow where WebGL runs in software:
  // the old match is cleared only when there is one, and the labels wait for the last frame.
  let drawn = false;
  function draw(s) {
    if (drawn) viewer.clear();
    drawn = !!s;
    if (!s) return;
    const model = viewer.addModel(s.cif, 'cif');
    viewer.setStyle({}, {stick: {radius: 0.12}, sphere: {scale: 0.22}});
    const atoms = model.selectedAtoms({});
    const ends = s.contacts.flatMap(([p, q]) => [atoms[p], atoms[q]]);
    const view = viewer.getView();
    view.splice(4, 4, ...(ends.length ? faceOn(ends) : [0, 0, 0, 1]));
    viewer.setView(view);
    // Drawn before the zoom, so that the cell is in view too; the fog that gives depth to
    // molecules would hide them in a large cell.
    const withCell = cell && cell.checked;
    if (withCell) viewer.addUnitCell(model);
    viewer.enableFog(!withCell);
    viewer.zoomTo();
    // Each distance is written beside its contact, pushed out from the centre of the contacts
    // so that it covers neither the dashes nor the ring they make.
    const centre = ['x', 'y', 'z'].map(k => ends.reduce((sum, a) => sum + a[k], 0) / ends.length);
    for (const [p, q, d] of s.contacts) {
      const a = atoms[p], b = atoms[q];
      viewer.addCylinder({start: a, end: b, radius: 0.06, dashed: true, dashLength: 0.18,
                          gapLength: 0.12, color: '#12a150', fromCap: 1, toCap: 1});
      const mid = [(a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2];
      const out = mid.map((m, k) => m - centre[k]);
      const push = 0.5 / (Math.hypot(...out) || Infinity);
      viewer.addLabel(d.toFixed(2) + ' \u00c5', {
        position: {x: mid[0] + push * out[0], y: mid[1] + push * out[1], z: mid[2] + push * out[2]},
        alignment: 'center', fontSize: 12, fontColor: '#064', backgroundColor: 'white',
        backgroundOpacity: 0.8, inFront: true}, undefined, true);
    }
    viewer.render();
  }
  function select(i) {
    if (i < 0 || i >= rows.length) return;
    if (current >= 0) rows[current].classList.remove('sel');
    document.querySelectorAll('circle.sel').forEach(c => c.classList.remove('sel'));
    current = i;
    const row = rows[i];
    row.classList.add('sel');
    // The selected match's points, drawn last so that no other point hides them.
    document.querySelectorAll('circle[data-i="' + i + '"]').forEach(c => {
      c.classList.add('sel');
      c.parentNode.appendChild(c);
    });
    const c = row.cells;
    caption.textContent = c[1].textContent + ', match ' + c[3].textContent +
        (c[4].textContent ? ', graph set ' + c[4].textContent : '') + ' (' + c[2].textContent + ')' +
        (viewer && !structures[i] ? ': the report holds the molecules of the first ' +
         (structures.length === 1 ? 'match' : structures.length + ' matches') + ' only' : '');
    if (viewer) draw(structures[i]);
  }
  body.addEventListener('click', e => {
    const row = e.target.closest('tr');
    if (row) select(+row.dataset.i);
  });
  const scatter = document.getElementById('scatter');
  if (scatter) scatter.addEventListener('click', e => {
    const i = e.target.dataset.i;
    if (i !== undefined) { select(+i); rows[+i].scrollIntoView({block: 'nearest'}); }
  });
  if (cell) cell.addEventListener('change', () => select(current));
  Array.from(table.tHead.rows[0].cells).forEach((th, col) => th.addEventListener('click', () => {
    const dir = th.classList.contains('asc') ? -1 : 1;
    for (const h of table.tHead.rows[0].cells) h.classList.remove('asc', 'desc');
    th.classList.add(dir > 0 ? 'asc' : 'desc');
    const numeric = th.dataset.num !== undefined;
    const key = r => {
      const t = r.cells[col].textContent;
      return numeric ? (t === '' ? Infinity : parseFloat(t)) : t;
    };
    const keyed = rows.map(r => [key(r), r]);
    keyed.sort((a, b) => dir * (a[0] < b[0] ? -1 : a[0] > b[0] ? 1 : 0));
    body.append(...keyed.map(k => k[1]));
  }));
  select(0);
  document.body.dataset.ready = 'yes';
})();
)js";

void write_page(std::ostream& os, const HitRecords& r, unsigned int most_structures) {
  const bool have_viewer = viewer_script[0] != '\0';
  const std::string motif = r.summary.is_object() ? r.summary.value("motif", "")
                            : r.matches.empty()   ? std::string()
                                                  : r.matches[0].value("motif", "");
  const std::size_t structures = std::min<std::size_t>(most_structures, r.matches.size());

  // One row per match; the contacts feed the plots.
  std::ostringstream rows;
  std::vector<double> h_a, d_a;
  std::vector<ScatterPoint> points;
  std::vector<std::string> row_names;
  for (std::size_t i = 0; i < r.matches.size(); ++i) {
    const json& m = r.matches[i];
    const std::string entry = m.value("entry", "");
    const std::string file = r.entry_of[i].is_object() ? r.entry_of[i].value("file", "") : "";
    const long number = m.value("match", 0L);
    row_names.push_back(escaped(entry) + " match " + std::to_string(number));
    double shortest = INFINITY, smallest_angle = INFINITY;
    std::string contacts;
    for (const json& c : m.value("contacts", json::array())) {
      if (is_constraint(c))
        continue;
      const ContactPoint p = contact_point(c);
      contacts += (contacts.empty() ? "" : "<br>") + escaped(p.text);
      shortest = std::min(shortest, std::isnan(p.h_a) ? p.d_a : p.h_a);
      d_a.push_back(p.d_a);
      if (!std::isnan(p.h_a)) {
        h_a.push_back(p.h_a);
        smallest_angle = std::min(smallest_angle, p.angle);
        points.push_back({p.h_a, p.angle, i});
      }
    }
    rows << "<tr data-i=\"" << i << "\"><td class=\"n\">" << i + 1 << "</td><td>" << escaped(entry)
         << "</td><td>" << escaped(file) << "</td><td class=\"n\">" << number << "</td><td>"
         << escaped(m.value("graph_set", "")) << "</td><td>" << contacts << "</td><td class=\"n\">"
         << (std::isinf(shortest) ? "" : fixed(shortest, 3)) << "</td><td class=\"n\">"
         << (std::isinf(smallest_angle) ? "" : fixed(smallest_angle, 1)) << "</td></tr>\n";
  }
  // H...A where every contact is a hydrogen bond; else D...A, which every contact has.
  const bool all_hydrogen_bonds = h_a.size() == d_a.size();
  const std::vector<double>& distances = all_hydrogen_bonds ? h_a : d_a;
  const std::string distance_name =
      all_hydrogen_bonds ? "H" + std::string(dots) + "A (\u00c5)"
                         : "D" + std::string(dots) + "A or contact distance (\u00c5)";

  os << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>xtalmotif: "
     << escaped(motif) << "</title>\n<style>" << style << "</style></head><body>\n<h1>Motif \u201c"
     << escaped(motif) << "\u201d</h1>\n<p id=\"summary\">" << escaped(summary_text(r, structures))
     << "</p>\n<div class=\"top\"><figure>";
  if (have_viewer)
    os << "<div id=\"viewer\"></div><figcaption><span id=\"caption\"></span><br><label><input "
          "type=\"checkbox\" id=\"cell\"> unit cell</label></figcaption>";
  else
    os << "<p class=\"note\">The 3D view is unavailable: this xtalmotif was built without its "
          "molecular viewer (3Dmol.js, which scripts/setup.sh installs with npm).</p>"
          "<figcaption id=\"caption\"></figcaption>";
  os << "</figure>\n<div>";
  if (distances.empty()) {
    os << "<p class=\"note\">No contact distances to plot.</p>";
  } else {
    os << "<figure>";
    write_histogram(os, distances, distance_name);
    os << "<figcaption>" << distance_name << " of every contact of every match</figcaption>"
       << "</figure>";
  }
  if (points.empty()) {
    os << "<p class=\"note\">No hydrogen bond with a located hydrogen: no D-H" << dots
       << "A angles to plot.</p>";
  } else {
    os << "<figure>";
    write_scatter(os, points, row_names, "H" + std::string(dots) + "A (\u00c5)");
    os << "<figcaption>H" << dots << "A against D-H" << dots
       << "A of every hydrogen bond; a point selects its match</figcaption></figure>";
  }
  os << "</div></div>\n<table id=\"hits\"><thead><tr><th data-num>#</th><th>entry</th>"
        "<th>file</th><th data-num>match</th><th>graph set</th><th>contacts (H"
     << dots << "A / D" << dots << "A, D-H" << dots << "A)</th><th data-num>shortest (\u00c5)"
     << "</th><th data-num>smallest D-H" << dots << "A (\u00b0)</th></tr></thead><tbody>\n"
     << rows.str() << "</tbody></table>\n";
  if (have_viewer) {
    json data = json::array();
    for (std::size_t i = 0; i < structures; ++i)
      data.push_back(viewer_structure(r.matches[i], r.entry_of[i], i + 1));
    os << "<script type=\"application/json\" id=\"structures\">"
       << script_safe(data.dump(-1, ' ', false, json::error_handler_t::replace))
       << "</script>\n<script>" << script_safe(viewer_script) << "</script>\n";
  }
  os << "<script>" << page_script << "</script>\n</body></html>\n";
}

} // namespace

void write_html_report(std::istream& json_lines, std::ostream& html, unsigned int structures) {
  write_page(html, read_records(json_lines), structures);
}

CLI::App* add_report_command(CLI::App& app, ReportCommand& cmd, const CLI::Validator& count) {
  CLI::App* report = app.add_subcommand(
      "report", "Write the HTML report of a search saved with `xtalmotif search --json`, the same "
                "page as `search --report` writes: a summary, a sortable table of the matches, "
                "plots of the contact geometry and a 3D view of each match.");
  report->add_option("JSON", cmd.json, "the JSON Lines file of the search (- for standard input)")
      ->required();
  report->add_option("-o,--output", cmd.output, "the HTML file to write")
      ->type_name("FILE")
      ->required();
  report
      ->add_option("--report-limit", cmd.structures,
                   "embed the molecules of the first N matches for the 3D view (every match "
                   "keeps its row in the table)")
      ->type_name("N")
      ->default_val(default_report_structures)
      ->check(count);
  report->footer("Exit status: 0 report written, 2 bad command line or input, 3 the report could "
                 "not be written.");
  return report;
}

int run_report(const ReportCommand& cmd) {
  HitRecords records;
  try {
    if (cmd.json == "-") {
      records = read_records(std::cin);
    } else {
      std::ifstream in(cmd.json, std::ios::binary);
      if (!in)
        throw UsageError("cannot be read");
      records = read_records(in);
    }
  } catch (const UsageError& e) {
    throw UsageError((cmd.json == "-" ? std::string("<stdin>") : cmd.json) + ": " + e.what());
  }
  // The report must not take the place of the records it is made from.
  std::error_code ec;
  if (cmd.json != "-" && std::filesystem::equivalent(cmd.json, cmd.output, ec))
    throw UsageError(cmd.output + ": --output names the input file, which it would overwrite; "
                                  "give the report another name");
  std::string error;
  if (!write_file_atomically(
          cmd.output, [&](std::ostream& os) { write_page(os, records, cmd.structures); }, &error))
    throw std::runtime_error(error);
  return 0;
}

} // namespace xtalmotif::app
