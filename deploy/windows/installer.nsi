; The installer for Windows; deploy/windows/package builds it and defines VERSION, FILES, TO, HERE and ICON.
; Its switches, and what it changes on a machine: docs/windows.md.
Unicode true
Target amd64-unicode
Name "vondServer"
OutFile "${TO}"
SetCompressor /SOLID lzma
ManifestSupportedOS Win10
ManifestDPIAware true
AllowSkipFiles off ; in a silent run, a file that cannot be replaced aborts the installation

VIProductVersion "${VERSION}"
VIAddVersionKey "ProductName" "vondServer"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "Installer of vondServer"
VIAddVersionKey "CompanyName" "meridane"
VIAddVersionKey "LegalCopyright" "2026 The vondServer authors, MIT license"

!define PROGRAM "vondServer.exe"
!define SETTINGS "Software\meridane\vondServer"
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\vondServer"
!define AT_LOGON "Software\Microsoft\Windows\CurrentVersion\Run"
!define LOCAL_SERVICE "S-1-5-19"
!define ACCESS_DENIED_OR_WRONG 2 ; exit status of an aborted installer, as NSIS itself sets it

!define MULTIUSER_MUI
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_INSTDIR "vondServer"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINSTALL}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!include MultiUser.nsh
!include MUI2.nsh
!include nsDialogs.nsh
!include LogicLib.nsh
!include FileFunc.nsh
!include WordFunc.nsh
!include "${FILES}"

Var Host       ; the three settings
Var Port
Var Tool
Var Firewall   ; "yes": open the port
Var Data       ; folder of the log and of clients' files
Var Upgrade    ; where it is already installed, or empty
Var HostField
Var PortField
Var ToolField
Var FirewallField

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MULTIUSER_INSTALLMODEPAGE_TEXT_TOP "For everyone, it starts with Windows, under an account with few rights. For you alone, it starts when you log on, and runs as you."
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
Page custom ShowSettings TakeSettings
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; --- shared by installer and uninstaller

!macro SharedFunctions un

; The folder for this installation's log and files: not the program's folder, which nothing writes to.
Function ${un}FindData
    ${If} $MultiUser.InstallMode == "AllUsers"
        SetShellVarContext all
        StrCpy $Data "$APPDATA\vondServer" ; C:\ProgramData
    ${Else}
        SetShellVarContext current
        StrCpy $Data "$LOCALAPPDATA\vondServer"
    ${EndIf}
FunctionEnd

; Ends the service of this installation, and of no other, and waits for its end (at most 30 seconds).
Function ${un}StopProgram
    ${If} $MultiUser.InstallMode == "AllUsers"
        nsExec::Exec '"$SYSDIR\schtasks.exe" /End /TN vondServer'
        Pop $0
        nsExec::Exec '"$SYSDIR\schtasks.exe" /Delete /F /TN vondServer' ; or it would restart within a minute
        Pop $0
        ; SeDebugPrivilege, which administrators have: needed to end processes of the service account.
        System::Call 'ntdll::RtlAdjustPrivilege(i 20, i 1, i 0, *i .r0)'
    ${EndIf}
    System::Alloc 65536
    Pop $1
    System::Call 'kernel32::K32EnumProcesses(p r1, i 65536, *i .r2) i .r0'
    IntOp $2 $2 / 4
    ${ForEach} $3 0 $2 + 1
        ${If} $3 = $2
            ${ExitFor}
        ${EndIf}
        IntOp $4 $3 * 4
        IntPtrOp $4 $1 + $4
        System::Call '*$4(i .r5)'
        ; PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE
        System::Call 'kernel32::OpenProcess(i 0x101001, i 0, i r5) p .r6'
        ${If} $6 P<> 0
            System::Call 'kernel32::QueryFullProcessImageNameW(p r6, i 0, w .r7, *i ${NSIS_MAX_STRLEN}) i .r0'
            ${If} $0 <> 0
            ${AndIf} $7 == "$INSTDIR\${PROGRAM}"
                System::Call 'kernel32::TerminateProcess(p r6, i 0)'
                System::Call 'kernel32::WaitForSingleObject(p r6, i 30000)'
            ${EndIf}
            System::Call 'kernel32::CloseHandle(p r6)'
        ${EndIf}
    ${Next}
    System::Free $1
FunctionEnd

!macroend
!insertmacro SharedFunctions ""
!insertmacro SharedFunctions "un."

; --- installation

; Aborts with a message: in a box or, in a silent run, on standard error.
!macro GiveUp text
    MessageBox MB_OK|MB_ICONSTOP "${text}" /SD IDOK
    ${If} ${Silent}
        StrCpy $R0 "${text}"
        System::Call 'kernel32::GetStdHandle(i -12) p .r9'
        FileWrite $9 "$R0$\r$\n"
    ${EndIf}
    SetErrorLevel ${ACCESS_DENIED_OR_WRONG}
    Quit
!macroend

; Sets $0 to what follows the switch $0 on the command line; sets the error flag if there is no such switch.
; Splits the line as other programs do: cmd passes /TOOL="C:\some tool.exe", PowerShell "/TOOL=C:\some tool.exe".
Function FindSwitch
    StrCpy $1 $CMDLINE
    System::Call 'shell32::CommandLineToArgvW(w r1, *i .r2) p .r3'
    StrLen $4 $0
    SetErrors
    StrCpy $5 1
    ${DoWhile} $5 < $2
        IntOp $6 $5 * ${NSIS_PTR_SIZE}
        IntPtrOp $6 $3 + $6
        System::Call '*$6(w .r7)'
        StrCpy $8 $7 $4
        ${If} $8 == $0
            StrCpy $1 $7 "" $4
            ClearErrors
        ${EndIf}
        IntOp $5 $5 + 1
    ${Loop}
    System::Call 'kernel32::LocalFree(p r3)'
    StrCpy $0 $1
FunctionEnd

; A setting: from the command line, else the stored one, else the default.
!macro FindSetting variable switch key default
    StrCpy $0 "${switch}"
    Call FindSwitch
    ${If} ${Errors}
        ReadRegStr $0 SHCTX "${SETTINGS}" "${key}"
        ${If} $0 == ""
            StrCpy $0 "${default}"
        ${EndIf}
    ${EndIf}
    StrCpy ${variable} $0
!macroend

Function FindSettings
    Call FindData
    !insertmacro FindSetting $Host "/HOST=" "hostIP" "127.0.0.1"
    !insertmacro FindSetting $Port "/PORT=" "portNumber" "8080"
    !insertmacro FindSetting $Tool "/TOOL=" "vondPath" ""
    StrCpy $0 "/FIREWALL"
    Call FindSwitch
    StrCpy $Firewall ""
    ${IfNot} ${Errors}
        StrCpy $Firewall "yes"
    ${EndIf}
FunctionEnd

; Sets $0 to what is wrong with the settings; empty if nothing is.
Function LookAtSettings
    StrCpy $0 ""
    IntOp $1 $Port + 0
    ${If} $Host == ""
        StrCpy $0 "The service needs an address to listen on: 127.0.0.1 for this machine alone."
    ${ElseIf} $1 != $Port
    ${OrIf} $1 < 1
    ${OrIf} $1 > 65535
        StrCpy $0 "The port must be a number from 1 to 65535."
    ${ElseIf} $Firewall == "yes"
    ${AndIf} $MultiUser.InstallMode != "AllUsers"
        StrCpy $0 "Only an installation for everyone can open a port in the firewall."
    ${EndIf}
FunctionEnd

Function .onInit
    !insertmacro MULTIUSER_INIT
    Call FindSettings
    ${If} ${Silent}
        Call LookAtSettings
        ${If} $0 != ""
            !insertmacro GiveUp "$0"
        ${EndIf}
    ${EndIf}
FunctionEnd

Function ShowSettings
    Call FindSettings ; everyone's or the user's, as just chosen
    !insertmacro MUI_HEADER_TEXT "Service" "Where it listens, and which tool it runs"
    nsDialogs::Create 1018
    Pop $0
    ${NSD_CreateLabel} 0 2u 25% 10u "Address"
    Pop $0
    ${NSD_CreateText} 25% 0 35% 12u "$Host"
    Pop $HostField
    ${NSD_CreateLabel} 0 20u 25% 10u "Port"
    Pop $0
    ${NSD_CreateText} 25% 18u 35% 12u "$Port"
    Pop $PortField
    ${NSD_CreateLabel} 0 38u 25% 10u "vond, the tool"
    Pop $0
    ${NSD_CreateText} 25% 36u 57% 12u "$Tool"
    Pop $ToolField
    ${NSD_CreateBrowseButton} 84% 36u 16% 12u "Browse..."
    Pop $0
    ${NSD_OnClick} $0 ChooseTool
    ${NSD_CreateLabel} 0 56u 100% 26u "Anyone who can reach the address can run the tool with any arguments. Leave it at 127.0.0.1 and put a web server that asks for a password in front."
    Pop $0
    ${If} $MultiUser.InstallMode == "AllUsers"
        ${NSD_CreateCheckbox} 0 88u 100% 12u "Open the port in the firewall"
        Pop $FirewallField
        ${If} $Firewall == "yes"
            ${NSD_Check} $FirewallField
        ${EndIf}
    ${EndIf}
    nsDialogs::Show
FunctionEnd

Function ChooseTool
    nsDialogs::SelectFileDialog open "$Tool" "Programs|*.exe|All files|*.*"
    Pop $0
    ${If} $0 != ""
        ${NSD_SetText} $ToolField $0
    ${EndIf}
FunctionEnd

Function TakeSettings
    ${NSD_GetText} $HostField $Host
    ${NSD_GetText} $PortField $Port
    ${NSD_GetText} $ToolField $Tool
    StrCpy $Firewall ""
    ${If} $MultiUser.InstallMode == "AllUsers"
        ${NSD_GetState} $FirewallField $0
        ${If} $0 = ${BST_CHECKED}
            StrCpy $Firewall "yes"
        ${EndIf}
    ${EndIf}
    Call LookAtSettings
    ${If} $0 != ""
        MessageBox MB_OK|MB_ICONEXCLAMATION "$0"
        Abort ; back to the page
    ${EndIf}
    ${IfNot} ${FileExists} "$Tool"
        MessageBox MB_YESNO|MB_ICONQUESTION "There is no file '$Tool'. Continue anyway?" IDYES goOn
        Abort
    goOn:
    ${EndIf}
FunctionEnd

; A value that only the first installation sets.
!macro StoreOnce key value
    ReadRegStr $0 SHCTX "${SETTINGS}" "${key}"
    ${If} $0 == ""
        WriteRegStr SHCTX "${SETTINGS}" "${key}" "${value}"
    ${EndIf}
!macroend

!macro ChangeRights how
    nsExec::ExecToLog '"$SYSDIR\icacls.exe" "$Data" ${how}'
    Pop $0
    ${If} $0 != 0
        !insertmacro GiveUp "Access to the folder '$Data' could not be restricted: icacls exited with $0."
    ${EndIf}
!macroend

; Creates the task that starts the service with the machine: task.xml with the program's path.
Function MakeTask
    ${WordReplace} "$INSTDIR\${PROGRAM}" "&" "&amp;" "+" $0
    InitPluginsDir
    File "/oname=$PLUGINSDIR\task.in" "${HERE}\task.xml"
    FileOpen $1 "$PLUGINSDIR\task.in" r
    FileOpen $2 "$PLUGINSDIR\task.xml" w
    FileWriteUTF16LE /BOM $2 ""
    ClearErrors
    ${Do}
        FileRead $1 $3
        ${If} ${Errors}
            ${ExitDo}
        ${EndIf}
        ${WordReplace} $3 "@PROGRAM@" $0 "+" $3
        FileWriteUTF16LE $2 $3
    ${Loop}
    FileClose $1
    FileClose $2
    nsExec::ExecToLog '"$SYSDIR\schtasks.exe" /Create /F /TN vondServer /XML "$PLUGINSDIR\task.xml"'
    Pop $0
    ${If} $0 != 0
        !insertmacro GiveUp "The task that starts the service could not be created: schtasks exited with $0."
    ${EndIf}
FunctionEnd

Section
    Call StopProgram
    ReadRegStr $Upgrade SHCTX "${UNINSTALL}" "InstallLocation"
    ; Each version's uninstaller knows its files.
    ${If} ${FileExists} "$INSTDIR\uninstall.exe"
        ExecWait '"$INSTDIR\uninstall.exe" /S /UPGRADE /$MultiUser.InstallMode _?=$INSTDIR' $0
        ${If} $0 != 0
            !insertmacro GiveUp "The files of the installed version could not be removed."
        ${EndIf}
    ${EndIf}
    !insertmacro PutFiles
    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\uninstall.exe"

    WriteRegStr SHCTX "${SETTINGS}" "hostIP" "$Host"
    WriteRegStr SHCTX "${SETTINGS}" "portNumber" "$Port"
    ${If} $Tool != ""
        WriteRegStr SHCTX "${SETTINGS}" "vondPath" "$Tool"
    ${EndIf}
    CreateDirectory "$Data\tmp"
    CreateDirectory "$Data\log"
    ${WordReplace} "$Data" "\" "/" "+" $1
    !insertmacro StoreOnce "TempFolder" "$1/tmp"
    !insertmacro StoreOnce "LogFolder" "$1/log"
    !insertmacro StoreOnce "ServerLogging" "true"

    WriteRegStr SHCTX "${UNINSTALL}" "DisplayName" "vondServer"
    WriteRegStr SHCTX "${UNINSTALL}" "DisplayVersion" "${VERSION}"
    WriteRegStr SHCTX "${UNINSTALL}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr SHCTX "${UNINSTALL}" "Publisher" "meridane"
    WriteRegStr SHCTX "${UNINSTALL}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
    WriteRegStr SHCTX "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
    WriteRegDWORD SHCTX "${UNINSTALL}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD SHCTX "${UNINSTALL}" "EstimatedSize" $0

    ${If} $Firewall == "yes"
        nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall delete rule name=vondServer'
        Pop $0
        nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall add rule name=vondServer dir=in action=allow protocol=TCP localport=$Port "program=$INSTDIR\${PROGRAM}"'
        Pop $0
        ${If} $0 != 0
            !insertmacro GiveUp "The port could not be opened in the firewall: netsh exited with $0."
        ${EndIf}
    ${EndIf}
    ${If} $MultiUser.InstallMode == "AllUsers"
        ; Only for the service and administrators: it contains the pictures of all clients. Before the first
        ; installation any user may have created the folder, so its owner and permissions are reset.
        ${If} $Upgrade == ""
            !insertmacro ChangeRights "/setowner *S-1-5-32-544 /T /Q"
            !insertmacro ChangeRights "/reset /T /Q"
        ${EndIf}
        !insertmacro ChangeRights "/inheritance:r /grant *S-1-5-18:(OI)(CI)F *S-1-5-32-544:(OI)(CI)F *${LOCAL_SERVICE}:(OI)(CI)M"
        Call MakeTask
        nsExec::ExecToLog '"$SYSDIR\schtasks.exe" /Run /TN vondServer'
        Pop $0
    ${Else}
        WriteRegStr HKCU "${AT_LOGON}" "vondServer" '"$INSTDIR\${PROGRAM}"'
        ; Through Explorer, so that it runs as the plain user even if the installer is elevated. Not in the
        ; program's folder, which cannot be removed while it is a process's working directory.
        SetOutPath "$WINDIR"
        Exec '"$WINDIR\explorer.exe" "$INSTDIR\${PROGRAM}"'
    ${EndIf}
SectionEnd

; --- removal

Var Words ; the command line's arguments
Var Keep

Function un.onInit
    !insertmacro MULTIUSER_UNINIT
    ${un.GetParameters} $Words
    Call un.FindData
    StrCpy $Keep "settings and data"
    ClearErrors
    ${un.GetOptions} $Words "/UPGRADE" $0
    ${If} ${Errors}
        ClearErrors
        StrCpy $Keep ""
        ${un.GetOptions} $Words "/KEEP" $0
        ${IfNot} ${Errors}
            StrCpy $Keep "settings and data"
        ${ElseIfNot} ${Silent}
            MessageBox MB_YESNO|MB_ICONQUESTION "Also remove the settings, the log and all files of clients?" IDYES all
            StrCpy $Keep "settings and data"
        all:
        ${EndIf}
    ${EndIf}
FunctionEnd

; With /UPGRADE it removes only files: the installer that runs it then writes all keys anew.
Section Uninstall
    Call un.StopProgram
    !insertmacro TakeFiles
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    ${un.GetOptions} $Words "/UPGRADE" $0
    ${IfNot} ${Errors}
        Return
    ${EndIf}

    DeleteRegKey SHCTX "${UNINSTALL}"
    ${If} $MultiUser.InstallMode == "AllUsers"
        nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall delete rule name=vondServer'
        Pop $0
    ${Else}
        DeleteRegValue HKCU "${AT_LOGON}" "vondServer"
    ${EndIf}
    ${If} $Keep == ""
        RMDir /r "$Data"
        DeleteRegKey SHCTX "${SETTINGS}"
        DeleteRegKey /ifempty SHCTX "Software\meridane"
        ${If} $MultiUser.InstallMode == "AllUsers"
            DeleteRegKey HKU "${LOCAL_SERVICE}\${SETTINGS}" ; what the service writes at each start
            DeleteRegKey /ifempty HKU "${LOCAL_SERVICE}\Software\meridane"
            ; What the commands stored for the user who removes it, unless that user has an installation too.
            ReadRegStr $0 HKCU "${UNINSTALL}" "InstallLocation"
            ${If} $0 == ""
                DeleteRegKey HKCU "${SETTINGS}"
                DeleteRegKey /ifempty HKCU "Software\meridane"
            ${EndIf}
        ${EndIf}
    ${EndIf}
SectionEnd
