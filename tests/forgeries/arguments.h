// SPDX-License-Identifier: MIT
//
// Arguments of a message as words of a command line: SIGNATURE=VALUE, such as "i=7", "s=text",
// "(i)=0", "as=name". The value stands for every number or text in the signature; an array has one
// element, and a variant holds "(i)".
#pragma once

#include <dbus/dbus.h>
#include <string>

namespace forgery {

/// Appends the argument @p word to @p message. Ends the program if there is no such argument.
void appendArgument(DBusMessage *message, const std::string &word);

} // namespace forgery
