#!/usr/bin/sed -Ef
# Shows the plain comments of a header to Doxygen, which reads only marked ones.
s,^( *)//( |$),\1///\2,
s,^([^/"]*[^/" ]) +// ,\1  ///< ,
