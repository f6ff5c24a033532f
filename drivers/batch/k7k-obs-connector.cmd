@echo off
:: k7k-obs-connector.cmd PROGRAM status|install|remove [OBS_ROOT]
::
:: Runs K7KObsConnectorInstaller.exe once, for the portable OBS in a folder if one is given, and writes
:: one line, such as "outcome=done state=installed". The program's own lines of a failure, and every
:: detail=, go on to standard error. The exit code is the program's, or 1 instead of a 0 that came
:: without the lines of an answer.
setlocal EnableExtensions DisableDelayedExpansion
:: A variable of the caller's would hide the real one.
set "errorlevel="
:: made by drivers/make_drivers.py from protocol/protocol.json
set "answer.--status-standard.0.state.installed-valid.obsRunning.0=done state=installed-valid obsRunning=0"
set "answer.--status-standard.0.state.installed-valid.obsRunning.1=done state=installed-valid obsRunning=1"
set "answer.--status-standard.0.state.installed-invalid.obsRunning.0=done state=installed-invalid obsRunning=0"
set "answer.--status-standard.0.state.installed-invalid.obsRunning.1=done state=installed-invalid obsRunning=1"
set "answer.--status-standard.0.state.not-installed.obsRunning.0=done state=not-installed obsRunning=0"
set "answer.--status-standard.0.state.not-installed.obsRunning.1=done state=not-installed obsRunning=1"
set "answer.--status-standard.20=refused"
set "answer.--status-standard.64=refused"
set "answer.--install-standard.0.state.installed=done state=installed"
set "answer.--install-standard.20=refused"
set "answer.--install-standard.21=busy"
set "answer.--install-standard.23=refused"
set "answer.--install-standard.24=refused"
set "answer.--install-standard.25=failed-restored"
set "answer.--install-standard.26=failed"
set "answer.--install-standard.64=refused"
set "answer.--remove-standard.0.state.removed=done state=removed"
set "answer.--remove-standard.0.state.not-installed=nothing-to-do state=not-installed"
set "answer.--remove-standard.20=refused"
set "answer.--remove-standard.21=busy"
set "answer.--remove-standard.34=refused"
set "answer.--remove-standard.35=failed"
set "answer.--remove-standard.64=refused"
set "answer.--status-portable.0.state.installed-valid.obsRunning.0=done state=installed-valid obsRunning=0"
set "answer.--status-portable.0.state.installed-valid.obsRunning.1=done state=installed-valid obsRunning=1"
set "answer.--status-portable.0.state.installed-invalid.obsRunning.0=done state=installed-invalid obsRunning=0"
set "answer.--status-portable.0.state.installed-invalid.obsRunning.1=done state=installed-invalid obsRunning=1"
set "answer.--status-portable.0.state.not-installed.obsRunning.0=done state=not-installed obsRunning=0"
set "answer.--status-portable.0.state.not-installed.obsRunning.1=done state=not-installed obsRunning=1"
set "answer.--status-portable.40=refused"
set "answer.--status-portable.64=refused"
set "answer.--install-portable.0.state.installed=done state=installed"
set "answer.--install-portable.40=refused"
set "answer.--install-portable.41=busy"
set "answer.--install-portable.43=refused"
set "answer.--install-portable.44=refused"
set "answer.--install-portable.45=failed"
set "answer.--install-portable.46=failed"
set "answer.--install-portable.64=refused"
set "answer.--remove-portable.0.state.removed=done state=removed"
set "answer.--remove-portable.0.state.not-installed=nothing-to-do state=not-installed"
set "answer.--remove-portable.40=refused"
set "answer.--remove-portable.41=busy"
set "answer.--remove-portable.54=refused"
set "answer.--remove-portable.55=failed"
set "answer.--remove-portable.64=refused"
set "unavailable=unavailable"
:: end of what is made
set "verb="
for %%v in (status install remove) do if "%~2"=="%%v" set "verb=%%v"
if not "%~4"=="" set "verb="
if not defined verb (
  echo Usage: %~nx0 PROGRAM status^|install^|remove [OBS_ROOT]>&2
  exit /b 64
)
set "target=standard"
set "root=%~3"
:: An empty root is one, too, such as that of a variable that nobody has set.
if defined root set "target=portable"
if not defined root if not [%3]==[] set "target=portable"
:: One backslash before the closing quote would make the quote a part of the path.
if defined root if "%root:~-1%"=="\" if not "%root:~-2%"=="\\" set "root=%root%\"
set "word=--%verb%-%target%"
set "arguments=%word%"
if %target%==portable set arguments=%word% "%root%"

:: A folder of this run alone: of two that start within a second, both draw the same numbers.
set "tries=0"
:draw
set "own=k7k-obs-connector.%RANDOM%.%RANDOM%"
set /a tries+=1
md "%TEMP%\%own%" 2>nul && goto drawn
if %tries% lss 100 goto draw
echo outcome=%unavailable%
exit /b 1
:drawn
"%~1" %arguments% >"%TEMP%\%own%\output"
set "code=%errorlevel%"

:: From here on, what was written is only compared, never taken for commands. A "!" in the folder's
:: path would not survive that, so it becomes the current one.
pushd "%TEMP%"
setlocal EnableDelayedExpansion
set "name=answer.%word%.%code%"
for /f "usebackq tokens=1* delims==" %%k in ("%own%\output") do set "name=!name!.%%k.%%l"
rd /s /q "%own%"
popd
set "answer=%unavailable%"
for /f "tokens=1* delims==" %%n in ('set answer.') do if "%%n"=="!name!" set "answer=%%o"
echo outcome=%answer%
if %code%==0 if "%answer%"=="%unavailable%" exit /b 1
exit /b %code%
