// SPDX-License-Identifier: MIT
//
// Message arguments, written as words of a command line: SIGNATURE=VALUE, such as "i=7", "s=text",
// "(i)=0", "as=name". The value stands for every number or text in the signature; an array has one
// element, and a variant holds "(i)".
#pragma once

#include <dbus/dbus.h>
#include <string>

namespace forgery {

/// Appends the argument @p word to @p message. Ends the program if @p word is not a valid argument.
void appendArgument(DBusMessage *message, const std::string &word);

} // namespace forgery
