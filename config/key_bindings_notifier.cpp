#include "config/key_bindings_notifier.h"

namespace ke2 {

KeyBindingsNotifier &KeyBindingsNotifier::instance()
{
    static KeyBindingsNotifier notifier;
    return notifier;
}

} // namespace ke2
