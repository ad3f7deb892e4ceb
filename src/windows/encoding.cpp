// Qt's local 8-bit encoding is UTF-8, as the manifest makes it for the C library, so that file
// names hold all letters. On versions before 1903, which pass over that line of the manifest, at
// least settings and logs are found.

#include <QTextCodec>

namespace {

/// Runs before main(), because the logger's set-up already converts a file name.
struct LocalEncoding {
    LocalEncoding() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); }
} localEncoding;

}  // namespace
