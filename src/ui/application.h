#pragma once

namespace ui {

/// To be called before the application object is made: chooses the window system, keeps timers
/// exact and switches scaling on. A window then has the same size in device-independent pixels on
/// every screen, with fractional factors as the desktop sets them.
void prepareApplication();

/// The style sheets name a font of Windows. Where it is missing, Latin and Cyrillic letters use a
/// family that is narrow enough for the layout, Chinese and Korean ones another.
void substituteFonts();

}  // namespace ui
