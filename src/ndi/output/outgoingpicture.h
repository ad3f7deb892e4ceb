#pragma once

#include "ndi/output/pictureencoder.h"
#include "ndi/wire/message.h"

namespace ndi {

/// A picture ready for the wire. Copies share the packet.
struct OutgoingPicture {
    wire::MessageHead head;
    EncodedPicturePtr picture;  ///< Null: none.
    bool repeat = false;        ///< The last picture once more: nothing is lost with it.

    /// Puts `newer` in the place of this picture. True: a picture is lost by that, because this
    /// one was another picture that nobody got.
    bool replaceBy(const OutgoingPicture& newer) {
        const bool waiting = picture != nullptr;
        const bool lost = waiting && !repeat && !newer.repeat;
        const bool stillNew = waiting && !repeat;
        *this = newer;
        repeat = newer.repeat && !stillNew;
        return lost;
    }
};

}  // namespace ndi
