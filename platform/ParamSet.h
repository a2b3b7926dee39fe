// The operations of the camera framework's parameter-set service that this library calls.
//
// Declarations only: on a device the camera framework defines them, on a desktop host/ does. The
// library leaves the symbols undefined and the process binds them at load time.
#pragma once

#include <map>
#include <string>

namespace tyk {

/// A tag's description by the service: its name.
struct tag_info_t {
    std::string name;
};

/// The service that holds the tuning parameters of every camera and pipe.
///
/// Threads: every operation may be called from any thread.
class ParamSet {
public:
    /// The process's service, or null while there is none. The service owns itself.
    static ParamSet* getInstance();

    /// Makes the process's service and returns it; the service owns itself.
    static ParamSet* createInstance();

    /// Fills `table` (tag id to tag) with every registered tag.
    void getTagInfo(std::map<unsigned int, tag_info_t>& table);

    /// Size of a tag's fixed-size value in bytes.
    int getSize(unsigned int tag);

    /// Fetches a value. A fixed-size value (getSize() bytes) is copied to `dst`; for a block
    /// parameter the BlockParamDesc at `dst` is filled; the service owns its block, which stays
    /// valid while the frame is processed. Returns 0 on success; on failure `dst` is unchanged.
    static int getParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag,
                        void* dst);

    /// Publishes a value. A fixed-size value is copied during the call. For a block parameter
    /// `data` points to a BlockParamDesc: the service copies the descriptor and may keep the
    /// block's address, which stays valid until the frame to which it belongs is retired. Returns 0
    /// on success.
    static int setParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag,
                        void* data);
};

}  // namespace tyk

/// Registers the parameter tags with a newly made service; called once after createInstance().
void registerPsTag();

/// Like tyk::ParamSet::setParam(), for the records that the pipeline's own nodes publish.
int setPsParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag, void* data);
