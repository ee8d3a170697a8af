#ifndef XTALMOTIF_CORE_ARCHIVE_H
#define XTALMOTIF_CORE_ARCHIVE_H

namespace xtalmotif {

/// A serialisation target handed to read/write operations. The library's classes keep their
/// read/write hooks for callers that persist objects; none of them writes anything yet.
class Archive {
public:
  Archive() = default;
  virtual ~Archive() = default;
};

} // namespace xtalmotif

#endif
