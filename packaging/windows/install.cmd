@echo off
rem Installs Velmora for the current user: copies this folder, puts it on the path of new windows and
rem registers the automation server Velmora.Application. No administrator is needed.
rem usage: install.cmd [FOLDER]          FOLDER: default %LOCALAPPDATA%\Programs\Velmora
setlocal
set "target=%LOCALAPPDATA%\Programs\Velmora"
if not "%~1"=="" set "target=%~1"
if /i "%~dp0"=="%target%\" goto copied
xcopy "%~dp0*" "%target%\" /E /I /Y /Q >nul
if errorlevel 1 goto failed
:copied
"%target%\velmora.exe" --version
if errorlevel 1 goto failed
"%target%\velmora.exe" /regserverperuser
if errorlevel 1 goto failed
powershell -NoProfile -Command "$p = [Environment]::GetEnvironmentVariable('Path', 'User'); if (($p -split ';') -notcontains $env:target) { [Environment]::SetEnvironmentVariable('Path', (@($p, $env:target) -ne '' -join ';'), 'User') }"
if errorlevel 1 echo Velmora is installed, but not on the path: add %target% to it.
echo Installed in %target%
exit /b 0
:failed
echo Velmora could not be installed in %target%; the line above says why.
exit /b 1
