// The only translation unit that sees gemmi: CIF syntax is parsed here and handed on as plain
// values (CrystalDescription) to the crystal builder.
#define USE_STD_SNPRINTF
#include "crystal/cif_reader.h"

#include "core/content_digest.h"
#include "crystal/crystal_builder.h"
#include "crystal/operator_table.h"

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/smcif.hpp>
#include <gemmi/symmetry.hpp>

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unordered_map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xtalmotif {

namespace {

// CIF tags and block names are ASCII; the locale-free lowering keeps tag lookups cheap.
char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool starts_with_ci(const char* p, const char* end, const char* word) {
  for (; *word; ++word, ++p)
    if (p >= end || ascii_lower(*p) != *word)
      return false;
  return true;
}

std::string too_large(const std::string& source) {
  return source + ": file too large for a crystal structure (over " +
         std::to_string(max_cif_text_bytes >> 20) + " MB)";
}

/// One `data_` block of a text, with the line it starts on, whether it holds atom coordinates
/// and the digest of its text.
struct BlockText {
  std::string name;
  std::size_t begin = 0, end = 0;
  int first_line = 1;
  bool has_atom_sites = false;
  ContentDigest digest;
};

/// Splits text at `data_` lines (column 0, outside semicolon text fields), so that each block can
/// be parsed on its own and a syntax error stays inside the block that has it. The text is fed in
/// pieces of any size as it is read or decompressed; only an unfinished line is kept between
/// pieces, so the whole text is never held.
class BlockSplitter {
public:
  explicit BlockSplitter(std::string source) : source_(std::move(source)) {}

  void feed(const char* data, std::size_t n) {
    const char* end = data + n;
    if (!pending_.empty()) {
      const char* eol = static_cast<const char*>(std::memchr(data, '\n', n));
      const char* upto = eol ? eol + 1 : end;
      pending_.append(data, static_cast<std::size_t>(upto - data));
      if (!eol)
        return;
      line(pending_.data(), pending_.size());
      pending_.clear();
      data = upto;
    }
    while (data < end) {
      const char* eol =
          static_cast<const char*>(std::memchr(data, '\n', static_cast<std::size_t>(end - data)));
      if (!eol) {
        pending_.assign(data, end);
        return;
      }
      line(data, static_cast<std::size_t>(eol + 1 - data));
      data = eol + 1;
    }
  }

  /// The blocks, once the whole text has been fed.
  std::vector<BlockText> finish() {
    if (!pending_.empty())
      line(pending_.data(), pending_.size());
    pending_.clear();
    if (!blocks_.empty())
      blocks_.back().end = offset_;
    return std::move(blocks_);
  }

private:
  // One line, its newline included (the last line of a text may have none).
  void line(const char* s, std::size_t n) {
    const char* end = s + n;
    const char* start = s;
    // A byte-order mark written by some editors before the first line.
    if (offset_ == 0 && n >= 3 && std::memcmp(s, "\xEF\xBB\xBF", 3) == 0)
      start += 3;
    if (start < end && *start == ';') {
      in_text_field_ = !in_text_field_;
    } else if (!in_text_field_ && starts_with_ci(start, end, "data_")) {
      if (static_cast<int>(blocks_.size()) >= max_cif_blocks_per_file)
        throw CifError(source_ + ": more than " + std::to_string(max_cif_blocks_per_file) +
                       " data blocks in one file");
      if (!blocks_.empty())
        blocks_.back().end = offset_;
      BlockText b;
      const char* q = start + 5;
      while (q < end && !std::isspace(static_cast<unsigned char>(*q)))
        ++q;
      b.name.assign(start + 5, q);
      b.begin = static_cast<std::size_t>(start - s) + offset_;
      b.first_line = line_number_;
      blocks_.push_back(std::move(b));
    }
    if (!blocks_.empty()) {
      BlockText& b = blocks_.back();
      // The block's own text starts at its `data_` line, after any byte-order mark.
      const char* from = offset_ < b.begin ? s + (b.begin - offset_) : s;
      b.digest.add(from, static_cast<std::size_t>(end - from));
      if (!b.has_atom_sites)
        b.has_atom_sites = has_atom_site_tag(from, end);
    }
    offset_ += n;
    ++line_number_;
  }

  // Whether a line holds the fractional x coordinate tag of the atom sites in either spelling;
  // found by a text scan, without parsing.
  static bool has_atom_site_tag(const char* s, const char* e) {
    static const char* tags[] = {"_atom_site_fract_x", "_atom_site.fract_x"};
    for (const char* p = s; e - p >= 18; ++p) {
      p = static_cast<const char*>(std::memchr(p, '_', static_cast<std::size_t>(e - p)));
      if (!p || e - p < 18)
        return false;
      for (const char* t : tags)
        if (starts_with_ci(p, e, t))
          return true;
    }
    return false;
  }

  std::string source_;
  std::string pending_;
  std::vector<BlockText> blocks_;
  std::size_t offset_ = 0;
  int line_number_ = 1;
  bool in_text_field_ = false;
};

std::vector<BlockText> split_blocks(const std::string& text, const std::string& source) {
  BlockSplitter splitter(source);
  splitter.feed(text.data(), text.size());
  return splitter.finish();
}

// Calls `take(data, n)` with the file's text (decompressed when gzipped), piece by piece; throws
// CifError when the file cannot be read or its text is over the limit. Returns whether the file
// was gzipped.
//
// zlib is called directly rather than through gemmi's MaybeGzipped, which judges compression by
// the ".gz" name and inflates the whole text at once: here a gzipped file is known by its bytes
// whatever its name, and a small file that inflates to gigabytes stops at the limit after one
// piece too many instead of filling memory.
template <class Take> bool read_file_in_pieces(const std::string& path, Take take) {
  gzFile f = gzopen(path.c_str(), "rb");
  if (!f)
    throw CifError(path + ": cannot open file");
  std::unique_ptr<gzFile_s, int (*)(gzFile)> closer(f, gzclose);
  std::vector<char> buf(std::size_t{1} << 16);
  std::size_t total = 0;
  for (;;) {
    int n = gzread(f, buf.data(), static_cast<unsigned>(buf.size()));
    if (n < 0) {
      int err = 0;
      throw CifError(path + ": cannot read file: " + gzerror(f, &err));
    }
    if (n == 0)
      break;
    total += static_cast<std::size_t>(n);
    if (total > max_cif_text_bytes)
      throw CifError(too_large(path));
    take(buf.data(), static_cast<std::size_t>(n));
  }
  return gzdirect(f) == 0;
}

std::string read_whole_file(const std::string& path) {
  std::string text;
  read_file_in_pieces(path, [&text](const char* s, std::size_t n) { text.append(s, n); });
  return text;
}

// An operator read from its text. The same few hundred texts make up most files' lists, so
// each thread remembers those it has read (up to a bound) rather than reading them again.
CrystalSymmetryOperator operator_from_text(const std::string& text) {
  thread_local std::unordered_map<std::string, CrystalSymmetryOperator> seen;
  const auto it = seen.find(text);
  if (it != seen.end())
    return it->second;
  CrystalSymmetryOperator op = CrystalSymmetryOperator::from_xyz(text);
  if (seen.size() >= 4096)
    seen.clear();
  seen.emplace(text, op);
  return op;
}

std::string lower(std::string s) {
  for (char& c : s)
    c = ascii_lower(c);
  return s;
}

// Tags compared without regard to case, and with the dotted (DDLm) and underscored (DDL1)
// spellings equal: `_space_group_symop.operation_xyz` is `_space_group_symop_operation_xyz`.
char tag_char(char c) { return c == '.' ? '_' : ascii_lower(c); }

bool same_tag(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size(); ++i)
    if (b[i] == '\0' || tag_char(a[i]) != tag_char(b[i]))
      return false;
  return b[i] == '\0';
}

/// The tags this reader looks at. A block has a hundred tags or so, of which these few are
/// used: they are found in one pass over the block's tags, and everything else is passed over.
enum Tag : int {
  kCellLengthA,
  kCellLengthB,
  kCellLengthC,
  kCellAngleAlpha,
  kCellAngleBeta,
  kCellAngleGamma,
  kSpaceGroupNameHall,
  kSymmetrySpaceGroupNameHall,
  kSpaceGroupNameHMAlt,
  kSymmetrySpaceGroupNameHM,
  kSpaceGroupNameHMFull,
  kSpaceGroupITNumber,
  kSymmetryIntTablesNumber,
  kSpaceGroupSymopOperationXyz,
  kSymmetryEquivPosAsXyz,
  kAtomSiteFractX,
  kAtomSiteFractY,
  kAtomSiteFractZ,
  kAtomSiteLabel,
  kAtomSiteTypeSymbol,
  kAtomSiteOccupancy,
  kAtomSiteDisorderGroup,
  kAtomSiteDisorderAssembly,
  kAtomSiteCalcFlag,
  kAtomSiteRefinementFlags,
  kAtomSiteRefinementFlagsOccupancy,
  kChemicalFormulaSum,
  kChemicalFormulaMoiety,
  kRefineLsRFactorGt,
  kRefineLsRFactorObs,
  kRefineLsRFactorAll,
  kTagCount
};

// In the order of the enumeration; these spellings also appear in warnings and errors.
constexpr const char* kTagNames[kTagCount] = {
    "_cell_length_a",
    "_cell_length_b",
    "_cell_length_c",
    "_cell_angle_alpha",
    "_cell_angle_beta",
    "_cell_angle_gamma",
    "_space_group_name_Hall",
    "_symmetry_space_group_name_Hall",
    "_space_group_name_H-M_alt",
    "_symmetry_space_group_name_H-M",
    "_space_group_name_H-M_full",
    "_space_group_IT_number",
    "_symmetry_Int_Tables_number",
    "_space_group_symop_operation_xyz",
    "_symmetry_equiv_pos_as_xyz",
    "_atom_site_fract_x",
    "_atom_site_fract_y",
    "_atom_site_fract_z",
    "_atom_site_label",
    "_atom_site_type_symbol",
    "_atom_site_occupancy",
    "_atom_site_disorder_group",
    "_atom_site_disorder_assembly",
    "_atom_site_calc_flag",
    "_atom_site_refinement_flags",
    "_atom_site_refinement_flags_occupancy",
    "_chemical_formula_sum",
    "_chemical_formula_moiety",
    "_refine_ls_R_factor_gt",
    "_refine_ls_R_factor_obs",
    "_refine_ls_R_factor_all",
};

/// Which of the reader's tags a block's tag is. Most tags of a block are ruled out by their
/// length alone; the rest are hashed in their normal form (lower case, '.' as '_') into a small
/// open-addressed table and confirmed character by character.
class TagFinder {
public:
  TagFinder() {
    for (unsigned c = 0; c < 256; ++c)
      normal_[c] = static_cast<unsigned char>(tag_char(static_cast<char>(c)));
    slot_tag_.fill(-1);
    for (int t = 0; t < kTagCount; ++t) {
      const std::size_t len = std::strlen(kTagNames[t]);
      lengths_ |= std::uint64_t{1} << len;
      std::size_t at = hash(kTagNames[t], len) & kMask;
      while (slot_tag_[at] >= 0)
        at = (at + 1) & kMask;
      slot_tag_[at] = static_cast<signed char>(t);
    }
  }

  /// The tag's place in the enumeration, or -1 when the reader does not use it.
  int find(const std::string& tag) const {
    const std::size_t len = tag.size();
    if (len >= 64 || !((lengths_ >> len) & 1))
      return -1;
    for (std::size_t at = hash(tag.data(), len) & kMask; slot_tag_[at] >= 0; at = (at + 1) & kMask)
      if (same_tag(tag, kTagNames[slot_tag_[at]]))
        return slot_tag_[at];
    return -1;
  }

private:
  static constexpr std::size_t kSlots = 128; // a quarter full
  static constexpr std::size_t kMask = kSlots - 1;
  static_assert(kSlots >= 4 * kTagCount, "the tag table is kept sparse");

  std::size_t hash(const char* s, std::size_t len) const {
    std::uint64_t h = 1469598103934665603ULL; // FNV-1a
    for (std::size_t i = 0; i < len; ++i)
      h = (h ^ normal_[static_cast<unsigned char>(s[i])]) * 1099511628211ULL;
    return static_cast<std::size_t>(h ^ (h >> 29));
  }

  std::array<unsigned char, 256> normal_{};
  std::array<signed char, kSlots> slot_tag_{};
  std::uint64_t lengths_ = 0; // bit n: some tag of the reader has n characters
};

/// The one table of the reader's tags, built on first use.
const TagFinder& reader_tags() {
  static const TagFinder finder;
  return finder;
}

/// The values under one tag, read in place from the parsed block: a single value, or a column
/// of a loop (every `stride`-th value from `first`). Empty when the block does not have the tag.
class Column {
public:
  Column() = default;
  Column(const std::string* first, std::size_t stride, std::size_t n)
      : first_(first), stride_(stride), n_(n) {}
  bool present() const { return first_ != nullptr; }
  std::size_t size() const { return n_; }
  const std::string& operator[](std::size_t i) const { return first_[i * stride_]; }

private:
  const std::string* first_ = nullptr;
  std::size_t stride_ = 1;
  std::size_t n_ = 0;
};

/// The values of a parsed block under the reader's tags, found in one pass over the block.
/// Nothing is copied, so the reflection and other large loops of a file cost nothing beyond
/// their parse. Of a tag met twice the first occurrence is kept, even when it is a loop with
/// no rows.
class BlockValues {
public:
  explicit BlockValues(const gemmi::cif::Block& block) {
    const TagFinder& finder = reader_tags();
    std::array<bool, kTagCount> seen{};
    auto note = [&](const std::string& tag, const Column& values) {
      const int t = finder.find(tag);
      if (t >= 0 && !seen[t]) {
        seen[t] = true;
        columns_[t] = values;
      }
    };
    for (const gemmi::cif::Item& item : block.items) {
      if (item.type == gemmi::cif::ItemType::Pair) {
        note(item.pair[0], Column(&item.pair[1], 1, 1));
      } else if (item.type == gemmi::cif::ItemType::Loop) {
        const gemmi::cif::Loop& loop = item.loop;
        const std::size_t w = loop.width(), len = loop.length();
        for (std::size_t c = 0; c < w; ++c)
          note(loop.tags[c], Column(len ? &loop.values[c] : nullptr, w, len));
      }
    }
  }
  /// The values under a tag; not present when the block does not have it (or has it in a loop
  /// with no rows).
  const Column& column(Tag tag) const { return columns_[tag]; }
  /// The first value of the first of the tags present that is not '?' or '.'.
  std::string value(std::initializer_list<Tag> tags) const {
    for (Tag t : tags) {
      const Column& c = column(t);
      for (std::size_t i = 0; i < c.size(); ++i)
        if (!gemmi::cif::is_null(c[i]))
          return gemmi::cif::as_string(c[i]);
    }
    return "";
  }

private:
  std::array<Column, kTagCount> columns_;
};

// A CIF number ("1.234(5)", "-0.5e-3", "90"): the short decimals that make up nearly every
// coordinate, cell edge and occupancy are read here directly, anything else by gemmi. A
// mantissa of at most 2^53 scaled by a power of ten up to 10^22 is converted with one exact
// multiplication or division, which is correctly rounded, as gemmi's own fast path does: both
// give the same double.
double number(const std::string& raw) {
  static constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  const char* p = raw.data();
  const char* const end = p + raw.size();
  if (p != end && *p == '+')
    ++p;
  const bool negative = p != end && *p == '-';
  if (negative)
    ++p;
  std::uint64_t mantissa = 0;
  int digits = 0, exponent = 0;
  for (; p != end && *p >= '0' && *p <= '9'; ++p, ++digits)
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  if (p != end && *p == '.')
    for (++p; p != end && *p >= '0' && *p <= '9'; ++p, ++digits, --exponent)
      mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  bool simple = digits > 0 && digits <= 19;
  if (simple && p != end && (*p == 'e' || *p == 'E')) {
    ++p;
    const bool negative_exponent = p != end && *p == '-';
    if (p != end && (*p == '-' || *p == '+'))
      ++p;
    int e = 0, exponent_digits = 0;
    for (; p != end && *p >= '0' && *p <= '9' && exponent_digits < 4; ++p, ++exponent_digits)
      e = e * 10 + (*p - '0');
    simple = exponent_digits > 0 && exponent_digits < 4;
    exponent += negative_exponent ? -e : e;
  }
  // A standard uncertainty in brackets closes the number.
  if (simple && p != end && *p == '(') {
    ++p;
    while (p != end && *p >= '0' && *p <= '9')
      ++p;
    simple = p != end && *p == ')';
    if (simple)
      ++p;
  }
  if (!simple || p != end || mantissa > (std::uint64_t{1} << 53) || exponent < -22 || exponent > 22)
    return gemmi::cif::as_number(raw);
  double d = static_cast<double>(mantissa);
  d = exponent < 0 ? d / kPowersOfTen[-exponent] : d * kPowersOfTen[exponent];
  return negative ? -d : d;
}

// The text of a value as gemmi::cif::as_string gives it (quotes and text-field delimiters
// taken off, '?' and '.' empty), seen in place rather than copied.
std::string_view text_of(const std::string& value) {
  if (value.empty() || gemmi::cif::is_null(value))
    return {};
  if ((value[0] == '"' || value[0] == '\'') && value.size() >= 2)
    return std::string_view(value.data() + 1, value.size() - 2);
  if (value[0] == ';' && value.size() > 2 && value[value.size() - 2] == '\n') {
    const bool crlf = value[value.size() - 3] == '\r';
    return std::string_view(value.data() + 1, value.size() - (crlf ? 4 : 3));
  }
  return value;
}

std::string_view trim(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b])))
    ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1])))
    --e;
  return s.substr(b, e - b);
}

std::string trim(const std::string& s) { return std::string(trim(std::string_view(s))); }

CrystalSymmetryOperator from_gemmi(const gemmi::Op& op) {
  Matrix<int, 3, 3> rot;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      rot(i, j) = op.rot[i][j] / gemmi::Op::DEN;
  Point t(double(op.tran[0]) / gemmi::Op::DEN, double(op.tran[1]) / gemmi::Op::DEN,
          double(op.tran[2]) / gemmi::Op::DEN);
  return CrystalSymmetryOperator(rot, t);
}

std::vector<CrystalSymmetryOperator> from_gemmi(const gemmi::GroupOps& gops) {
  std::vector<CrystalSymmetryOperator> out;
  for (gemmi::Op op : gops)
    out.push_back(from_gemmi(op));
  return out;
}

// An operator list is usable when every operator preserves the cell metric (it is an isometry
// of this lattice) and the list is closed under composition. Files do carry lists that are
// neither: a mistyped row, or the operators of another setting.
bool operators_usable(const std::vector<CrystalSymmetryOperator>& ops,
                      const std::array<double, 6>& cell, std::string* why) {
  auto closed = [&] {
    int a = 0, b = 0;
    if (OperatorTable(ops).closed(&a, &b))
      return true;
    *why = "operators " + ops[a].to_xyz() + " and " + ops[b].to_xyz() + " do not form a group";
    return false;
  };
  CrystalMaker cm;
  try {
    cm.set_cell(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]);
  } catch (const std::exception&) {
    return closed(); // the cell itself is reported later
  }
  for (const auto& op : ops)
    if (cm.metric_change(op) > CrystalMaker::kMetricTolerance) {
      *why = "operator " + op.to_xyz() + " does not fit the cell";
      return false;
    }
  return closed();
}

// Symmetry from the operator loop, else the Hall symbol, else the Hermann-Mauguin symbol,
// else the International Tables number; none at all is P1, with a warning.
void read_symmetry(const BlockValues& v, CrystalDescription& d) {
  const std::string hall = trim(v.value({kSpaceGroupNameHall, kSymmetrySpaceGroupNameHall}));
  const std::string hm = trim(v.value({kSpaceGroupNameHMAlt, kSymmetrySpaceGroupNameHM,
                                       kSpaceGroupNameHMFull}));
  const std::string number_text = trim(v.value({kSpaceGroupITNumber, kSymmetryIntTablesNumber}));
  d.space_group = !hm.empty() ? hm : hall;
  for (const Tag t : {kSpaceGroupSymopOperationXyz, kSymmetryEquivPosAsXyz}) {
    const char* tag = kTagNames[t];
    const Column& col = v.column(t);
    if (!col.present())
      continue;
    std::vector<CrystalSymmetryOperator> ops;
    ops.reserve(col.size());
    bool bad = false;
    for (std::size_t row = 0; row < col.size(); ++row) {
      const std::string& raw = col[row];
      if (gemmi::cif::is_null(raw))
        continue;
      try {
        ops.push_back(operator_from_text(gemmi::cif::as_string(raw)));
      } catch (const std::invalid_argument& e) {
        d.warnings.push_back(std::string("unreadable ") + tag + " entry: " + e.what());
        bad = true;
        break;
      }
    }
    std::string why;
    if (!bad && !ops.empty() && !operators_usable(ops, d.cell, &why)) {
      d.warnings.push_back(std::string(tag) + " list not used: " + why);
      bad = true;
    }
    if (!bad && !ops.empty()) {
      d.operators = std::move(ops);
      d.operators_form_group = true;
      d.symmetry_source = tag;
      d.symmetry_replaced.clear();
      return;
    }
    if (bad && d.symmetry_replaced.empty())
      d.symmetry_replaced = d.warnings.back();
  }
  // The operators below are generated, and listed as gemmi lists them.
  auto generated = [&](const std::string& source) {
    d.operators_form_group = true;
    d.symmetry_source = source;
    d.warnings.push_back("symmetry taken from the " + source);
  };
  if (!hall.empty()) {
    try {
      d.operators = from_gemmi(gemmi::symops_from_hall(hall.c_str()));
      generated("Hall symbol '" + hall + "'");
      return;
    } catch (const std::exception&) {
      d.warnings.push_back("unreadable Hall symbol '" + hall + "'");
    }
  }
  if (!hm.empty()) {
    if (const gemmi::SpaceGroup* sg = gemmi::find_spacegroup_by_name(hm, d.cell[3], d.cell[5])) {
      d.operators = from_gemmi(sg->operations());
      generated("Hermann-Mauguin symbol '" + hm + "'");
      return;
    }
    d.warnings.push_back("unknown Hermann-Mauguin symbol '" + hm + "'");
  }
  if (!number_text.empty()) {
    double num = number(number_text);
    if (std::isfinite(num) && num >= 1 && num <= 230 && num == std::floor(num)) {
      for (const gemmi::SpaceGroup& sg : gemmi::spacegroup_tables::main)
        if (sg.number == static_cast<int>(num) && sg.is_reference_setting()) {
          d.operators = from_gemmi(sg.operations());
          generated("space-group number " + number_text);
          return;
        }
    }
  }
  d.operators.clear();
  d.operators_form_group = true;
  d.symmetry_source = "no symmetry given; P1 assumed";
  d.warnings.push_back(d.symmetry_source);
}

void read_cell(const BlockValues& v, CrystalDescription& d, const std::string& where) {
  static constexpr Tag tags[6] = {kCellLengthA,    kCellLengthB,   kCellLengthC,
                                  kCellAngleAlpha, kCellAngleBeta, kCellAngleGamma};
  for (int k = 0; k < 6; ++k) {
    const std::string name = kTagNames[tags[k]];
    std::string raw = v.value({tags[k]});
    double x = raw.empty() ? NAN : number(raw);
    if (!std::isfinite(x)) {
      if (k >= 3 && raw.empty()) {
        d.cell[k] = 90.0;
        d.warnings.push_back(name + " missing; 90 degrees assumed");
        continue;
      }
      throw CifError(where + (raw.empty() ? name + " missing" : name + " is not a number: " + raw));
    }
    // The largest unit cells known, of virus crystals, are a few thousand angstrom long; a
    // longer axis is a slip (a stray exponent) that would only overflow the geometry.
    if (k < 3 && x > 1e5)
      throw CifError(where + name + " of " + raw + " A is longer than any crystal's cell");
    d.cell[k] = x;
  }
}

int disorder_group_value(const std::string& raw) {
  if (gemmi::cif::is_null(raw))
    return 0;
  const std::string_view s = trim(text_of(raw));
  if (s.empty())
    return 0;
  // A whole number with an optional sign, read up to the end of the text (or a NUL byte, where
  // a C string would end); beyond a thousand it is held at a thousand.
  std::size_t i = s[0] == '+' || s[0] == '-' ? 1 : 0;
  const std::size_t first_digit = i;
  long g = 0;
  for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i)
    g = std::min(g * 10 + (s[i] - '0'), 1000000L);
  if (i > first_digit && (i == s.size() || s[i] == '\0'))
    return static_cast<int>(std::min(1000L, g)) * (s[0] == '-' ? -1 : 1);
  // Letters used as group names: A is the first alternative, B the second.
  if (std::isalpha(static_cast<unsigned char>(s[0])))
    return std::toupper(static_cast<unsigned char>(s[0])) - 'A' + 1;
  return 0;
}

// Whether a text is `word` (given in lower case) without regard to case.
bool equals_lower(std::string_view text, std::string_view word) {
  if (text.size() != word.size())
    return false;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (ascii_lower(text[i]) != word[i])
      return false;
  return true;
}

void read_sites(const BlockValues& v, CrystalDescription& d, const std::string& where) {
  const Column& xs = v.column(kAtomSiteFractX);
  const Column& ys = v.column(kAtomSiteFractY);
  const Column& zs = v.column(kAtomSiteFractZ);
  if (!xs.present() || !ys.present() || !zs.present() || xs.size() != ys.size() ||
      xs.size() != zs.size())
    throw CifError(where + "no atom sites with coordinates");
  const std::size_t n = xs.size();
  d.sites.reserve(n);
  // A column of another length than the coordinates' belongs to another loop: not used.
  auto site_column = [&](Tag tag) {
    const Column& c = v.column(tag);
    return c.size() == n ? c : Column();
  };
  const Column labels = site_column(kAtomSiteLabel);
  const Column types = site_column(kAtomSiteTypeSymbol);
  const Column occ = site_column(kAtomSiteOccupancy);
  const Column group = site_column(kAtomSiteDisorderGroup);
  const Column assembly = site_column(kAtomSiteDisorderAssembly);
  const Column calc = site_column(kAtomSiteCalcFlag);
  const Column flags = site_column(kAtomSiteRefinementFlags);
  const Column occ_flags = site_column(kAtomSiteRefinementFlagsOccupancy);
  int skipped = 0, empty = 0;
  std::string first_skipped;
  for (std::size_t i = 0; i < n; ++i) {
    AtomSiteRecord r;
    r.row = static_cast<int>(i);
    if (labels.present())
      r.label.assign(text_of(labels[i]));
    if (types.present())
      r.type_symbol.assign(text_of(types[i]));
    double x = number(xs[i]), y = number(ys[i]), z = number(zs[i]);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || std::fabs(x) > 1e4 ||
        std::fabs(y) > 1e4 || std::fabs(z) > 1e4) {
      if (!skipped++)
        first_skipped = r.label;
      continue;
    }
    r.fractional = Point(x, y, z);
    if (occ.present()) {
      double o = number(occ[i]);
      // An occupancy of zero is a site that holds no atom (a refined-away alternative).
      if (std::isfinite(o) && o <= 0.0) {
        ++empty;
        continue;
      }
      r.occupancy = std::isfinite(o) ? std::min(o, 1.0) : 1.0;
    }
    if (group.present())
      r.disorder_group = disorder_group_value(group[i]);
    if (assembly.present() && !gemmi::cif::is_null(assembly[i]))
      r.disorder_assembly.assign(text_of(assembly[i]));
    // "P" among the refinement flags: occupancy refined or fixed below one.
    if (flags.present() && text_of(flags[i]).find('P') != std::string_view::npos)
      r.flagged_partial = r.occupancy >= 0.99;
    if (occ_flags.present() && text_of(occ_flags[i]).find('P') != std::string_view::npos)
      r.flagged_partial = r.occupancy >= 0.99;
    if (calc.present() && equals_lower(text_of(calc[i]), "dum"))
      r.dummy = true;
    d.sites.push_back(std::move(r));
  }
  if (skipped)
    d.warnings.push_back(std::to_string(skipped) + " atom site(s) without coordinates skipped" +
                         (first_skipped.empty() ? "" : " (first: " + first_skipped + ")"));
  if (empty)
    d.warnings.push_back(std::to_string(empty) + " atom site(s) of zero occupancy skipped");
  if (d.sites.empty())
    throw CifError(where + "no atom sites with coordinates");
}

CrystalDescription describe_block(const gemmi::cif::Block& block, const std::string& source) {
  CrystalDescription d;
  d.source = source;
  d.block = block.name;
  const std::string where = source + ": block " + block.name + ": ";
  BlockValues v(block);
  read_cell(v, d, where);
  read_symmetry(v, d);
  read_sites(v, d, where);
  d.formula = v.value({kChemicalFormulaSum, kChemicalFormulaMoiety});
  d.moiety_formula = v.value({kChemicalFormulaMoiety});
  for (const Tag tag : {kRefineLsRFactorGt, kRefineLsRFactorObs, kRefineLsRFactorAll}) {
    std::string raw = v.value({tag});
    double r = raw.empty() ? NAN : number(raw);
    if (std::isfinite(r) && r >= 0) {
      // Some files give the R factor in percent.
      d.r_factor = r > 1.0 ? r / 100.0 : r;
      break;
    }
  }
  return d;
}

// Parses one block's text. gemmi's own checks for duplicate tags and missing values are not
// run: a repeated tag should not cost a crystallographer the whole structure (the first value
// is used).
gemmi::cif::Block parse_block(const std::string& text, const BlockText& b,
                              const std::string& source) {
  gemmi::cif::Document doc;
  tao::pegtl::memory_input<> in(text.data() + b.begin, b.end - b.begin, source);
  try {
    gemmi::cif::parse_input(doc, in);
  } catch (const std::exception& e) {
    std::string msg = e.what();
    // "source:LINE:COL(BYTE): message" from the parser: make the line absolute.
    std::string prefix = source + ":";
    if (msg.compare(0, prefix.size(), prefix) == 0) {
      std::size_t p = prefix.size();
      std::size_t q = p;
      while (q < msg.size() && std::isdigit(static_cast<unsigned char>(msg[q])))
        ++q;
      if (q > p) {
        long line = std::stol(msg.substr(p, q - p)) + b.first_line - 1;
        std::size_t colon = msg.find(": ", q);
        std::string rest = colon == std::string::npos ? msg.substr(q) : msg.substr(colon + 2);
        msg = "line " + std::to_string(line) + ": " + rest;
      }
    }
    throw CifError(source + ": block " + b.name + ": CIF syntax error: " + msg);
  }
  if (doc.blocks.empty())
    throw CifError(source + ": block " + b.name + ": no data block found");
  return std::move(doc.blocks.front());
}

// The text of a block with the content of every text field the reader has no use for left
// out, or an empty text when there is none to leave out. More than half of a typical deposited
// CIF is text fields (the embedded reflection list, the refinement's instruction file, the
// authors' prose), which the parser would otherwise read character by character and copy.
//
// A text field is passed over only when it is plainly the value of one tag the reader does not
// use: the line before it (blank lines and comments apart) holds that tag alone, and is not a
// loop's header, where the text field would be a value of the loop's first tag. The field's
// lines are kept as empty lines, so that the parser's line numbers stay those of the file, and
// its closing `;` line is kept as it is.
std::string without_unread_text_fields(const std::string& text, const BlockText& b) {
  const TagFinder& finder = reader_tags();
  const char* const begin = text.data() + b.begin;
  const char* const end = text.data() + b.end;
  std::string out;
  const char* copied = begin; // text up to here is in `out`, or the field being passed over
  std::string_view lone_tag;  // the tag of the last line holding one tag alone
  bool loop_header = false, in_field = false, passing = false;
  for (const char* line = begin; line < end;) {
    const char* eol =
        static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
    const char* next = eol ? eol + 1 : end;
    if (in_field) {
      if (*line == ';') {
        in_field = false;
        if (passing)
          copied = line;
      } else if (passing) {
        out.push_back('\n');
      }
    } else if (*line == ';') {
      in_field = true;
      passing = !lone_tag.empty() && !loop_header && finder.find(std::string(lone_tag)) < 0;
      if (passing) {
        out.append(copied, line + 1);
        out.push_back('\n');
      }
      lone_tag = {};
      loop_header = false;
    } else {
      const char* p = line;
      while (p < next && std::isspace(static_cast<unsigned char>(*p)))
        ++p;
      if (p < next && *p != '#') {
        const char* q = p;
        while (q < next && !std::isspace(static_cast<unsigned char>(*q)))
          ++q;
        const char* r = q;
        while (r < next && std::isspace(static_cast<unsigned char>(*r)))
          ++r;
        const std::string_view token(p, static_cast<std::size_t>(q - p));
        const bool alone = r == next;
        if (alone && token.size() == 5 && starts_with_ci(p, q, "loop_")) {
          loop_header = true;
          lone_tag = {};
        } else if (alone && token.front() == '_') {
          lone_tag = token;
        } else {
          lone_tag = {};
          loop_header = false;
        }
      }
    }
    line = next;
  }
  // A field left open at the block's end is an error the parser reports from the text itself.
  if (out.empty() || (in_field && passing))
    return std::string();
  out.append(copied, end);
  return out;
}

THandle<CrystalMaker> build_block(const std::string& text, const BlockText& chosen,
                                  const std::string& source) {
  const std::string shorter = without_unread_text_fields(text, chosen);
  BlockText within = chosen;
  if (!shorter.empty()) {
    within.begin = 0;
    within.end = shorter.size();
  }
  gemmi::cif::Block block = parse_block(shorter.empty() ? text : shorter, within, source);
  if (block.name.empty())
    block.name = chosen.name;
  CrystalDescription d;
  try {
    d = describe_block(block, source);
  } catch (const CifError&) {
    throw;
  } catch (const std::exception& e) {
    throw CifError(source + ": block " + chosen.name + ": " + e.what());
  }
  return CrystalBuilder().build(d);
}

// The block a reader asks for among the blocks of a whole text: by position when the block there
// still has the name (two blocks of one file may share a name), else the first of that name,
// else the first of that name in another case; with no name, the first block with atom sites.
const BlockText& choose_block(const std::vector<BlockText>& blocks, const std::string& source,
                              const std::string& block_name, int block_index) {
  if (blocks.empty())
    throw CifError(source + ": no data block (no data_ line) found");
  if (block_name.empty()) {
    for (const BlockText& b : blocks)
      if (b.has_atom_sites)
        return b;
    // None has atom sites: the first block reports what it lacks, under its own name.
    return blocks.front();
  }
  if (block_index >= 0 && static_cast<std::size_t>(block_index) < blocks.size() &&
      blocks[static_cast<std::size_t>(block_index)].name == block_name)
    return blocks[static_cast<std::size_t>(block_index)];
  for (const BlockText& b : blocks)
    if (b.name == block_name)
      return b;
  for (const BlockText& b : blocks)
    if (lower(b.name) == lower(block_name))
      return b;
  throw CifError(source + ": block " + block_name + ": no such data block");
}

THandle<CrystalMaker> read_from_text(const std::string& text, const std::string& source,
                                     const std::string& block_name, int block_index = -1) {
  std::vector<BlockText> blocks = split_blocks(text, source);
  return build_block(text, choose_block(blocks, source, block_name, block_index), source);
}

// Whether `text` (read from a block's range, with up to five bytes beyond it) is the block the
// range describes: its `data_` line names the block, the next block's `data_` line or the end of
// the text follows the range, and the digest, when one was taken, is the same.
bool is_listed_block(std::string& text, std::size_t got, const std::string& name,
                     const CifBlockRange& r) {
  if (got < r.length)
    return false;
  const char* s = text.data();
  if (!starts_with_ci(s, s + r.length, "data_") || text.compare(5, name.size(), name) != 0 ||
      (r.length > 5 + name.size() && !std::isspace(static_cast<unsigned char>(s[5 + name.size()]))))
    return false;
  if (got > r.length && !starts_with_ci(s + r.length, s + got, "data_"))
    return false;
  text.resize(r.length);
  if (r.checksum == 0)
    return true;
  ContentDigest digest;
  digest.add(text.data(), text.size());
  return digest.value() == r.checksum;
}

BlockText whole_block(const std::string& text, const std::string& name, int first_line) {
  BlockText b;
  b.name = name;
  b.end = text.size();
  b.first_line = first_line;
  return b;
}

std::vector<CifBlockInfo> block_infos(const std::vector<BlockText>& blocks,
                                      const std::string& source, std::uintmax_t size,
                                      bool compressed) {
  if (blocks.empty())
    throw CifError(source + ": no data block (no data_ line) found");
  std::vector<CifBlockInfo> out;
  out.reserve(blocks.size());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    CifBlockInfo info;
    info.file = source;
    info.block_name = blocks[i].name;
    info.index = static_cast<int>(i);
    info.has_atom_sites = blocks[i].has_atom_sites;
    info.range.offset = blocks[i].begin;
    info.range.length = blocks[i].end - blocks[i].begin;
    info.range.first_line = blocks[i].first_line;
    info.range.file_size = size;
    info.range.checksum = blocks[i].digest.value();
    info.range.compressed = compressed;
    out.push_back(std::move(info));
  }
  return out;
}

} // namespace

std::vector<CifBlockInfo> list_cif_blocks(const std::string& path) {
  BlockSplitter splitter(path);
  const bool compressed = read_file_in_pieces(
      path, [&splitter](const char* s, std::size_t n) { splitter.feed(s, n); });
  std::vector<BlockText> blocks = splitter.finish();
  std::error_code ec;
  const std::uintmax_t size = std::filesystem::file_size(path, ec);
  std::vector<CifBlockInfo> out = block_infos(blocks, path, ec ? 0 : size, compressed);
  // Without the file's size no range can be trusted later: every block is then read whole.
  if (ec)
    for (CifBlockInfo& info : out)
      info.range = CifBlockRange{};
  return out;
}

std::vector<CifBlockInfo> list_cif_blocks_in_string(const std::string& cif_text,
                                                    const std::string& source_name) {
  if (cif_text.size() > max_cif_text_bytes)
    throw CifError(too_large(source_name));
  return block_infos(split_blocks(cif_text, source_name), source_name, cif_text.size(), false);
}

int parse_cif_blocks(const std::string& path) {
  const std::string text = read_whole_file(path);
  int parsed = 0;
  for (const BlockText& b : split_blocks(text, path)) {
    parse_block(text, b, path);
    ++parsed;
  }
  return parsed;
}

int read_cif_blocks_with_gemmi(const std::string& path) {
  const std::string text = read_whole_file(path);
  int sites = 0;
  for (const BlockText& b : split_blocks(text, path)) {
    const gemmi::SmallStructure st = gemmi::make_small_structure_from_block(parse_block(text, b, path));
    sites += static_cast<int>(st.sites.size());
  }
  return sites;
}

THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name) {
  return read_from_text(read_whole_file(path), path, block_name);
}

// The open file of a reader: one decompressing stream, moved forward from block to block. The
// few bytes read beyond a block (to see the next block's `data_` line) are kept, so that the
// next block continues the stream instead of stepping back, which would decompress the file
// again from its start.
struct CifFileReader::Stream {
  gzFile file = nullptr;
  std::uintmax_t size = 0;
  std::size_t position = 0; // of the next byte the stream gives
  std::string ahead;        // bytes already read, ending at `position`

  ~Stream() {
    if (file)
      gzclose(file);
  }

  // Reads `want` bytes from `offset` into `text` (fewer at the end of the file); keeps those
  // beyond `keep_from` as the bytes read ahead. Returns the number of bytes read.
  std::size_t read(std::size_t offset, std::size_t want, std::size_t keep_from, std::string& text) {
    text.clear();
    const std::size_t ahead_at = position - ahead.size();
    if (!ahead.empty() && offset >= ahead_at && offset < position) {
      text.assign(ahead, offset - ahead_at, std::min(want, position - offset));
    } else if (offset != position) {
      const auto target = static_cast<z_off_t>(offset);
      if (gzseek(file, target, SEEK_SET) != target) {
        gzclearerr(file);
        position = static_cast<std::size_t>(std::max<z_off_t>(gztell(file), 0));
        ahead.clear();
        return 0;
      }
      position = offset;
    }
    const std::size_t have = text.size();
    text.resize(want);
    if (want > have) {
      const int n = gzread(file, &text[have], static_cast<unsigned>(want - have));
      if (n < 0)
        gzclearerr(file);
      position += n > 0 ? static_cast<std::size_t>(n) : 0;
      text.resize(have + (n > 0 ? static_cast<std::size_t>(n) : 0));
    }
    // Bytes read ahead always end where the stream stands.
    if (offset + text.size() == position)
      ahead = text.size() > keep_from ? text.substr(keep_from) : std::string();
    return text.size();
  }
};

CifFileReader::CifFileReader(std::string path) : path_(std::move(path)) {}

CifFileReader::~CifFileReader() = default;

THandle<CrystalMaker> CifFileReader::read(const std::string& block_name, int block_index,
                                          const CifBlockRange& range) {
  std::string text;
  if (!block_name.empty() && range.length >= 5 + block_name.size() &&
      range.length <= max_cif_text_bytes) {
    if (!stream_) {
      // The size is asked of the open file, so that it is the size of the file read.
      const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
      struct stat st {};
      if (fd >= 0 && ::fstat(fd, &st) == 0) {
        auto stream = std::make_unique<Stream>();
        stream->size = static_cast<std::uintmax_t>(st.st_size);
        stream->file = gzdopen(fd, "rb");
        if (stream->file)
          stream_ = std::move(stream);
        else
          ::close(fd);
      } else if (fd >= 0) {
        ::close(fd);
      }
    }
    // The next block's `data_` line, or the end of the file, must follow the range.
    std::size_t got = 0;
    if (stream_ && stream_->size == range.file_size)
      got = stream_->read(range.offset, range.length + 5, range.length, text);
    if (is_listed_block(text, got, block_name, range))
      return build_block(text, whole_block(text, block_name, range.first_line), path_);
  }
  if (range.must_match)
    throw CifError(path_ + ": block " + block_name +
                   ": the file has changed since it was indexed; rebuild the screen index");
  return read_from_text(read_whole_file(path_), path_, block_name, block_index);
}

THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name,
                                   const CifBlockRange& range) {
  return CifFileReader(path).read(block_name, -1, range);
}

THandle<CrystalMaker> read_crystal_from_string(const std::string& cif_text,
                                               const std::string& source_name,
                                               const std::string& block_name) {
  if (cif_text.size() > max_cif_text_bytes)
    throw CifError(too_large(source_name));
  return read_from_text(cif_text, source_name, block_name);
}

THandle<CrystalMaker> read_crystal_from_string(const std::string& cif_text,
                                               const CifBlockInfo& block) {
  const CifBlockRange& r = block.range;
  if (!block.block_name.empty() && r.length >= 5 + block.block_name.size() &&
      r.offset <= cif_text.size() && r.length <= cif_text.size() - r.offset) {
    std::string text = cif_text.substr(r.offset, r.length + 5);
    if (is_listed_block(text, text.size(), block.block_name, r))
      return build_block(text, whole_block(text, block.block_name, r.first_line), block.file);
  }
  return read_from_text(cif_text, block.file, block.block_name, block.index);
}

} // namespace xtalmotif
