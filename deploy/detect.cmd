@echo off
rem Says whether the standard target holds exactly the connector of this package: prints the state, and
rem ends with 0 when it is installed-valid, with 1 in every other case.
setlocal DisableDelayedExpansion
set "state=no answer"
rem From that folder, so that no character of its path can mean anything in the command.
pushd "%~dp0..\bin" 2>nul && (
  for /f "tokens=1* delims==" %%a in ('.\K7KObsConnectorInstaller.exe --status-standard 2^>^&1') do if "%%a"=="state" set "state=%%b"
  popd
)
echo %state%
if "%state%"=="installed-valid" exit /b 0
exit /b 1
