// SPDX-License-Identifier: Apache-2.0
// The tool's commands that read and edit by path: get, set, add, delete and
// list. Each takes the arguments after its name and returns the exit status,
// or throws xmlutil_edit::failure with the status and a one-line message.
#ifndef XMLUTIL_TOOLS_EDIT_COMMANDS_H
#define XMLUTIL_TOOLS_EDIT_COMMANDS_H

#include "xml_doc.h"

namespace xmlutil_edit {

int get_command(int argc, char** argv);
int set_command(int argc, char** argv);
int add_command(int argc, char** argv);
int delete_command(int argc, char** argv);
int list_command(int argc, char** argv);

} // namespace xmlutil_edit

#endif // XMLUTIL_TOOLS_EDIT_COMMANDS_H
