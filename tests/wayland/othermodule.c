// A module of another build of the program.
const char* tarsinModuleVersion(void);
const char* tarsinModuleVersion(void) {
    return "0.9-0123456789ab";
}
