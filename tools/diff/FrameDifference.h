// Compares two frames: parameters, scene record, images and other files.
#pragma once

#include "tags/FieldCodec.h"
#include "tools/diff/FileDifference.h"
#include "tools/diff/FrameMatch.h"
#include "tools/picture/PictureDiff.h"
#include "tools/picture/PictureOptions.h"
#include "tree/read/FrameListing.h"
#include "tree/read/Parameter.h"
#include "tree/read/SceneRecord.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/ValueName.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

/// A different value.
struct ValueDifference {
    std::string name;
    tyktags::Value a;
    tyktags::Value b;
    std::string unit = {};  ///< of both; "" if unknown
};

/// A parameter file, or another file, that differs or that only one frame has.
struct ContentDifference {
    std::string name;  ///< of the tag or of the file; raw bytes
    bool inA = true;
    bool inB = true;
    int camera = 0;  ///< of a parameter
    int pipe = 0;    ///< of a parameter: pipe type
    FileDifference bytes;
    std::vector<ValueDifference> fields;
};

/// The different names of two matched files: they agree in the tag, camera and kind of a parameter
/// file, or in the camera of an image. Raw bytes.
struct NameDifference {
    std::string a;
    std::string b;

    /// The sof ids, if only these differ in the names.
    std::optional<std::pair<int, int>> sofs() const;
};

/// Images that differ or that only one frame has.
struct ImageDifference {
    bool inA = true;
    bool inB = true;
    PictureSize sizeA{};
    PictureSize sizeB{};
    uint64_t bytesA = 0;  ///< lengths of the files
    uint64_t bytesB = 0;
    /// Set if both images have the same size in pixels.
    std::optional<PictureDifference> samples;
    int camera = 0;
    size_t index = 0;   ///< among the frame's images
    std::string pathA;  ///< raw bytes
    std::string pathB;
    PictureLayout layout;

    /// The mean squared difference of all samples; larger than any such value if not all could be
    /// compared.
    double distance() const;
};

/// All differences of two frames. Empty if they are equal.
struct FrameDifference {
    std::vector<ContentDifference> tags;
    std::vector<ValueDifference> scene;
    std::vector<ImageDifference> images;
    std::vector<ContentDifference> files;
    std::vector<NameDifference> names;
    std::optional<tyktree::FrameRef> overtaken;  ///< see FramePair
    std::vector<std::string> problems;  ///< unreadable files; the frames then count as different

    bool same() const {
        return tags.empty() && scene.empty() && images.empty() && files.empty() && names.empty() &&
               !overtaken && problems.empty();
    }
};

/// The differences to ignore.
struct DiffRules {
    AssumedPicture assumed;
    int tolerance = 0;  ///< of samples
    bool ignoreImages = false;
    bool ignoreSofs = false;  ///< in the names of files
    std::vector<tyktree::ValueName> ignored;

    bool ignoresTag(const std::string& tag) const;
    /// The bytes of the ignored fields of a tag.
    std::vector<ByteRange> ignoredBytes(const std::string& tag) const;
    /// The bytes of ignored scene fields among `bytes` bytes from `offset` of the record.
    std::vector<ByteRange> ignoredScene(int offset, int bytes) const;
    bool ignoresScene(const ::SceneField& field) const;
};

/// The tag table for a comparison of two trees: A's, or B's if A has none.
const tyktree::TagCatalog& commonTable(const tyktree::TagCatalog& a, const tyktree::TagCatalog& b);

/// Compares frames and reuses its memory. One thread at a time uses an object.
class FrameComparer {
public:
    /// Both must outlive the object.
    FrameComparer(const DiffRules& rules, const tyktree::TagCatalog& catalog)
        : rules_(rules), catalog_(catalog) {}

    /// The pair must have both frames. Throws WrongUsage when the assumed stride is smaller than a
    /// row.
    FrameDifference compare(const FramePair& frames);

private:
    void list(tyktree::FrameListing& listing, const std::string& path);
    void compareTags();
    void compareTag(const tyktree::FileEntry& a, const tyktree::FileEntry& b);
    void compareNames(const tyktree::FileEntry& a, const tyktree::FileEntry& b);
    void addFields(const tyktree::Parameter& a, const tyktree::Parameter& b,
                   ContentDifference& tag) const;
    void compareScenes();
    void compareImages();
    void compareSamples(ImageDifference& image);
    void compareFiles();

    const DiffRules& rules_;
    const tyktree::TagCatalog& catalog_;
    tyktree::FrameListing a_;
    tyktree::FrameListing b_;
    FileComparer files_;
    PictureComparer pictures_;
    FrameDifference result_;
};

}  // namespace tyksim
