# The test classes that are about Unix, and why: cross-built for Windows they are skipped with these
# words.
set(VOND_NOT_ON_WINDOWS_descriptorlimittest "limits of descriptors are Unix's")
set(VOND_NOT_ON_WINDOWS_inheritedstatetest "signals and descriptors that a process inherits are Unix's")
set(VOND_NOT_ON_WINDOWS_versionstamptest "the version is in a resource, which windows_entry_compiles reads")
set(VOND_NOT_ON_WINDOWS_draftfiletest "files without a name are Linux's")
set(VOND_NOT_ON_WINDOWS_writefiletest "rights, links, pipes and full disks as Unix has them")
set(VOND_NOT_ON_WINDOWS_costtest "counts processor time by a clock that Windows does not have")
set(VOND_NOT_ON_WINDOWS_vondservertest "looks at descriptors in /proc and limits memory")
set(VOND_NOT_ON_WINDOWS_exhaustiontest "limits of descriptors are Unix's")
set(VOND_NOT_ON_WINDOWS_refusedmemorytest "its allocator takes the place of the C library's on Linux")
set(VOND_NOT_ON_WINDOWS_refusedconnectiontest "its allocator takes the place of the C library's on Linux")
set(VOND_NOT_ON_WINDOWS_bigbodytest "looks at memory in /proc")
set(VOND_NOT_ON_WINDOWS_realmemtesttest "looks at memory in /proc")
