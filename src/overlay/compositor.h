#pragma once

namespace overlay {

/// Whether the compositor at WAYLAND_DISPLAY lets programs show layer surfaces. Takes a round trip.
[[nodiscard]] bool compositorHasLayerShell();

}  // namespace overlay
