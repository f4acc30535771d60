@echo off
rem Undoes install.cmd for the current user: unregisters the automation server, takes the folder of this
rem script off the path and removes it.
setlocal
set "target=%~dp0"
set "target=%target:~0,-1%"
if not exist "%target%\velmora.exe" exit /b 1
"%target%\velmora.exe" /unregserverperuser
powershell -NoProfile -Command "$p = [Environment]::GetEnvironmentVariable('Path', 'User'); [Environment]::SetEnvironmentVariable('Path', (($p -split ';' | Where-Object { $_ -ne $env:target }) -join ';'), 'User')"
echo Removed %target%
rem The last line: the script goes with its folder.
cd /d "%TEMP%" & rmdir /s /q "%target%"
