// Replays frame folders: parameter files into the parameter-set service, images into the pool's
// buffers. Three loaders share the replay of one file; Loader lists their differences.
#include "core/BinFile.h"
#include "core/File.h"
#include "core/FrameGuard.h"
#include "core/FrameQueue.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/Scratch.h"
#include "core/TreeNames.h"
#include "records/SceneLayout.h"
#include "replay/FixedOverrides.h"

#include <cstdlib>
#include <cstring>

namespace {

/// The differences between the three loaders.
struct Loader {
    const char* function;    ///< its name in log lines
    bool skipsSceneInfo;     ///< skips a parameter file of the scene-info tag: the record is
                             ///< rebuilt from its own files, which may have been edited
    bool skipsBadFiles;      ///< skips a file of impossible size; else the file ends the frame
    bool refusesNullBlocks;  ///< logs and skips a block when memory runs out
    bool loadsImages;        ///< takes every other file for an image
};

constexpr Loader kFolderLoader{"loadParam2", true, true, true, false};
constexpr Loader kParamLoader{"loadParam", false, false, false, false};
constexpr Loader kImageLoader{"loadParamAndImage", false, false, false, true};

/// Frees a block parameter and logs it.
struct BlockDeleter {
    bool ofImageLoader;

    void operator()(void* block) const noexcept {
        guardFrame(__func__, [this, block](const char* function) {
            if (ofImageLoader) {
                TYK_LOG_AS(kDetail, function, "free block param buffer %p", block);
            } else {
                TYK_LOG_AS(kDetail, function, "free buffer %p", block);
            }
        });
        std::free(block);
    }
};

void publish(const PipelineSimulation::tagInfo& info, void* data) {
    tyk::ParamSet::setParam(info.camId, info.pipe, info.sofId, info.tag, data);
}

/// The replay of one frame folder by one loader.
class FolderReplay {
public:
    FolderReplay(PipelineSimulation& simulation, const Loader& loader, const std::string& folder)
        : simulation_(simulation),
          loader_(loader),
          names_(list(simulation, folder)),
          folder_(folder),
          path_(folder + "/"),
          prefix_(path_.size()) {}

    int fileCount() const { return static_cast<int>(names_.size()); }

    /// The sof id of the last parameter file, not counting skipped scene info; 0 if there is none.
    int lastSofId() const { return lastSofId_; }

    /// Allocates the scratch buffer; logs and returns false when memory runs out.
    bool prepare() {
        scratch_ = std::make_unique<ScratchBuffer>();
        if (scratch_->exists()) return true;
        TYK_LOG_AS(kFailure, loader_.function, "buf malloc failed.");
        return false;
    }

    /// Replays every file; returns false when a file ends the frame.
    bool replay(tyk::Buffer** image) {
        for (std::string& name : names_) {
            path_.replace(prefix_, std::string::npos, name);
            PipelineSimulation::tagInfo info{};
            if (simulation_.parseFileName(std::move(name), &info) == 0) {
                if (loader_.skipsSceneInfo &&
                    path_.find(kSceneTagName, prefix_) != std::string::npos) {
                    continue;
                }
                lastSofId_ = static_cast<int>(info.sofId);
                if (!replayParam(info) && !loader_.skipsBadFiles) return false;
            } else if (loader_.loadsImages) {
                if (!replayImage(*image)) return false;
            }
        }
        return true;
    }

    /// Moves the frame to the queue.
    void queue() {
        simulation_.frameQueue.push(std::move(frame_));
        ++simulation_.frameIndex;
    }

private:
    static std::vector<std::string> list(PipelineSimulation& simulation,
                                         const std::string& folder) {
        std::vector<std::string> names;
        simulation.getSubFiles(folder.c_str(), names);
        return names;
    }

    /// Replays the parameter file at path_; returns false when its size makes that impossible.
    bool replayParam(const PipelineSimulation::tagInfo& info) {
        InputFile file(path_.c_str(), &folder_);
        // The size is a signed 32-bit number, so 2 GiB becomes negative.
        const auto size = static_cast<int32_t>(file.size());
        if (size <= 0) {
            TYK_LOG_AS(kFailure, loader_.function, "getBinSize return negative, size: %d", size);
            return false;
        }
        if (info.dumpType != kFixedSizeDump) {
            replayBlock(info, file, static_cast<uint32_t>(size));
            return true;
        }
        if (size > ScratchBuffer::kBytes) {
            TYK_LOG_AS(kFailure, loader_.function, "size %d is above %d: %s", size,
                       ScratchBuffer::kBytes, path_.c_str());
            return false;
        }
        file.read(scratch_->data(), static_cast<size_t>(size));
        publish(info, scratch_->data());
        return true;
    }

    void replayBlock(const PipelineSimulation::tagInfo& info, InputFile& file, uint32_t size) {
        const std::shared_ptr<void> block(std::malloc(size), BlockDeleter{loader_.loadsImages});
        if (!block && loader_.refusesNullBlocks) {
            TYK_LOG_AS(kFailure, loader_.function, "blockParam null.");
            return;
        }
        TYK_LOG_AS(kDetail, loader_.function, "malloc block param buffer %p", block.get());
        if (block) {
            // If the file shrank after it was opened, zeros replace the missing bytes.
            auto* const bytes = static_cast<unsigned char*>(block.get());
            const size_t count = file.read(bytes, size);
            std::memset(bytes + count, 0, size - count);
        }
        frame_.params.push_back(block);
        BlockParamDesc descriptor{block.get(), size};
        scratch_->lendAsDescriptor(descriptor,
                                   [&info](BlockParamDesc* lent) { publish(info, lent); });
    }

    /// Reads the file at path_ into a buffer of the pool; returns false when it gets no buffer. A
    /// file whose name is not an image's takes a buffer of 0 x 0: the pipeline expects `image` to
    /// be the buffer of the folder's last file.
    bool replayImage(tyk::Buffer*& image) {
        PipelineSimulation::imageInfo info{};
        simulation_.parseImageName(path_.substr(prefix_), &info);
        if (!simulation_.bufferManager ||
            simulation_.bufferManager->getBuffer(tyk::kReplayBufferUsage, info.width, info.height,
                                                 image, false) != 0) {
            return false;
        }
        tyk::ImageDescriptor& descriptor = *image->image;
        descriptor.camId = static_cast<uint8_t>(info.camId);
        descriptor.sofId = static_cast<uint32_t>(info.sofId);
        descriptor.width = info.width;
        descriptor.height = info.height;
        descriptor.pipeId = static_cast<uint32_t>(simulation_.pipeId);
        frame_.image = image;
        TYK_LOG_AS(kDetail, loader_.function, "get img %p, pipe %d", static_cast<void*>(image),
                   simulation_.pipeId);
        readBinIn(&folder_, path_.c_str(), descriptor.data, nv21Bytes(info.width, info.height));
        return true;
    }

    PipelineSimulation& simulation_;
    const Loader& loader_;
    std::vector<std::string> names_;
    const Folder folder_;
    std::string path_;  ///< the folder and, from prefix_ on, the current file
    size_t prefix_;
    std::unique_ptr<ScratchBuffer> scratch_;
    PipelineSimulation::FrameData frame_;
    int lastSofId_ = 0;
};

/// Makes the frame at frameIndex the current one.
void enterFrame(PipelineSimulation& simulation) {
    const std::string& name = simulation.frameList[static_cast<size_t>(simulation.frameIndex)];
    simulation.currentFramePath = simulation.currentTask + "/" + name;
}

}  // namespace

bool PipelineSimulation::loadParam(int pipe, std::string folder, int cam) {
    bool loaded = false;
    guardFrame(__func__, [&](const char*) {
        PipelineSimulation* const simulation = PipelineSimMgr::getPipeSimInstance(pipe);
        if (!simulation) return;
        simulation->camId = cam;
        loaded = simulation->loadParam2(std::move(folder));
    });
    return loaded;
}

bool PipelineSimulation::loadParam2(std::string folder) {
    bool loaded = false;
    guardFrame(__func__, [&](const char*) {
        if (!initialised) init(1);
        FolderReplay replay(*this, kFolderLoader, folder);
        if (!replay.prepare()) return;
        replay.replay(nullptr);
        prepareParams();
        loadISceneInfo(folder, replay.lastSofId());
        loadMFNRXml(replay.lastSofId());
        // This advances frameIndex too: a pipeline that mixes the loaders counts frames, not
        // folders.
        replay.queue();
        loaded = true;
    });
    return loaded;
}

void PipelineSimulation::loadParam(unsigned int) {
    guardFrame(__func__, [this](const char*) {
        if (!initialised) init(1);
        enterFrame(*this);
        FolderReplay replay(*this, kParamLoader, currentFramePath);
        if (replay.prepare() && replay.replay(nullptr)) replay.queue();
    });
}

void PipelineSimulation::prepareParams() {
    TYK_LOG(kDetail, "E");
    const auto camera = static_cast<unsigned int>(camId);
    auto size = kOverrideSize;
    tyk::ParamSet::setParam(camera, kOverridePipe, kOverrideSofId, kOverrideSizeTag, size.data());
    uint8_t value = kOverrideByte;
    tyk::ParamSet::setParam(camera, kOverridePipe, kOverrideSofId, kOverrideByteTag, &value);
}

void PipelineSimulation::loadParamAndImage(unsigned int, tyk::Buffer*& img) {
    guardFrame(__func__, [this, &img](const char* function) {
        if (frameQueue.size() >= kFramesInUse) retireFrontFrame(*this, function);
        enterFrame(*this);
        FolderReplay replay(*this, kImageLoader, currentFramePath);
        TYK_LOG_AS(kDetail, function, "load path: %s, filesNum %d", currentFramePath.c_str(),
                   replay.fileCount());
        if (replay.prepare() && replay.replay(&img)) replay.queue();
    });
}
