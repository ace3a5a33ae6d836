// gjs gnome-screenshot.js OUT.png: a screenshot from GNOME Shell, which answers only callers that
// own one of its allowed bus names (here org.gnome.Screenshot's).
const {Gio, GLib} = imports.gi;
const loop = new GLib.MainLoop(null, false);
let status = 1;
Gio.bus_own_name(Gio.BusType.SESSION, 'org.gnome.Screenshot', Gio.BusNameOwnerFlags.NONE, null, connection => {
    connection.call('org.gnome.Shell.Screenshot', '/org/gnome/Shell/Screenshot', 'org.gnome.Shell.Screenshot',
        'Screenshot', new GLib.Variant('(bbs)', [false, false, ARGV[0]]), null, Gio.DBusCallFlags.NONE, 30000, null,
        (source, result) => {
            try {
                status = source.call_finish(result).deepUnpack()[0] ? 0 : 1;
            } catch (error) {
                printerr(error.message);
            }
            loop.quit();
        });
}, () => loop.quit());
loop.run();
imports.system.exit(status);
