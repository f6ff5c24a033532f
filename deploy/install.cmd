@echo off
rem Puts this package into a place that stays, where detection finds it, and installs from there.
rem Ends with the exit code of the program, or with 1 when the package could not be put there.
setlocal DisableDelayedExpansion
rem The 64-bit folder, also when a 32-bit process has started this.
set "place=%ProgramW6432%\K7K OBS Connector"
if /i not "%~dp0"=="%place%\deploy\" (
  rmdir /s /q "%place%" 2>nul
  rem Folder by folder with what cmd.exe itself has: Wine 10's xcopy takes no path with a space, and Wine 8's "||" follows every copy.
  for %%d in (bin deploy docs plugin\k7k-obs-audio plugin\k7k-obs-audio\bin\64bit plugin\k7k-obs-audio\data\locale .) do (
    if not exist "%place%\%%d\" mkdir "%place%\%%d"
    copy /y "%~dp0..\%%d\*" "%place%\%%d\" >nul
    if errorlevel 1 exit /b 1
  )
)
if not exist "%place%\bin\K7KObsConnectorInstaller.exe" exit /b 1
"%place%\bin\K7KObsConnectorInstaller.exe" --install-standard
exit /b %errorlevel%
