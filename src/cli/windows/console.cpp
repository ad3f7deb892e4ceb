#include <io.h>

#include "cli/platform.h"
#include "support/terminal.h"

namespace cli {
Console::Console() : m_descriptor(_dup(1)), m_width(support::terminalWidth()) {
    _dup2(2, 1);
}

bool Console::write(const std::string& text, std::chrono::milliseconds /*patience*/) const {
    return _write(m_descriptor, text.data(), static_cast<unsigned>(text.size())) >= 0;
}

}  // namespace cli
