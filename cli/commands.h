// The commands of slateprobe-cli. Each takes the arguments after its name
// (argv[0] is the command name) and returns the process exit code.
#pragma once

int cmd_list(int argc, char **argv);
int cmd_watch(int argc, char **argv);
int cmd_record(int argc, char **argv);
int cmd_replay(int argc, char **argv);
int cmd_check(int argc, char **argv);
