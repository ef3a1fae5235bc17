#pragma once

class QApplication;

namespace ke2 {

// On its own the program looks as it does inside its host: a dark interface around the dark
// editors, with the same widget style on every platform.
void applyStandaloneLook(QApplication &app);

} // namespace ke2
