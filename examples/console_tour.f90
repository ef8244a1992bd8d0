! What the console can do: colours, boxes, lines that are centred and rewritten,
! wrapped and cut lines, a pause at a screenful, progress in the title, and
! line input.
!
!   console_tour [colours | boxes | lines | pause | progress | input]...
!
! Without arguments it shows all. The same cells appear on a Windows console and
! on a Linux terminal; with its output in a file the tour is plain text.
module tour
  use tarnlib
  implicit none
  character(*), parameter :: with_line_end = '%s'//c_new_line//c_null_char
contains
  subroutine heading(text)
    character(*), intent(in) :: text
    call tarn_push_console_colour(tarn_yellow + tarn_bright)
    call tarn_write_line(text)
    call tarn_pop_console_colour()
  end subroutine

  subroutine colours()
    character(*), parameter :: letters = 'KBGCRMYW'
    character(1) :: letter
    integer :: background, before, colour
    call heading('Sixteen colours on eight backgrounds')
    do background = tarn_black, tarn_white
      call tarn_write(letters(background + 1:background + 1)//' ')
      before = tarn_set_console_background(background)
      do colour = 0, 15
        letter = letters(mod(colour, 8) + 1:mod(colour, 8) + 1)
        call tarn_push_console_colour(colour)
        call tarn_write(' '//merge('-', ' ', colour >= tarn_bright)//letter//' ')
        call tarn_pop_console_colour()
      end do
      before = tarn_set_console_background(before)
      call tarn_write_line('')
    end do
  end subroutine

  subroutine boxes()
    character(16), parameter :: names(0:5) = [character(16) :: '0: blanks', '1: a single line', &
      '2: a double line', '3: light block', '4: middle block', '5: full block']
    integer :: style, before
    call heading('Six boxes, one without a shadow')
    do style = 0, 5
      before = tarn_set_box_shadow(merge(-1, tarn_black + tarn_bright, style == 1))
      call tarn_console_box_print(style, tarn_blue, tarn_white + tarn_bright, tarn_c('%s'), &
        tarn_c(names(style)))
    end do
    call tarn_console_box_print(2, tarn_red, tarn_yellow + tarn_bright, tarn_c('%s'), &
      tarn_c('Every line of a text'//c_new_line//'has its own middle,'//c_new_line// &
             'the longest makes the width'))
  end subroutine

  subroutine lines()
    character(*), parameter :: alphabet = 'abcdefghijklmnopqrstuvwxyz'
    character(20) :: text
    integer :: done, wrap, length
    call heading('Lines in the middle, the second written four times over')
    call tarn_console_printf_c(with_line_end, tarn_c('once'))
    call tarn_clear_printf_c_line(1)
    do done = 25, 100, 25
      write (text, '(i0,a)') done, ' of 100 done'
      call tarn_console_printf_c('%s'//c_carriage_return//c_null_char, tarn_c(text))
    end do
    call tarn_clear_printf_c_line(0)
    call tarn_write_line('')
    call heading('A text wider than the screen: wrapped, then cut')
    do wrap = 1, 0, -1
      call tarn_set_console_wrap_mode(wrap)
      do length = 0, tarn_screen_width() + 12, 26
        call tarn_write(alphabet)
      end do
      call tarn_write_line('')
      call tarn_set_console_wrap_mode(1)
    end do
  end subroutine

  subroutine pause()
    character(20) :: text
    integer :: row
    call heading('A pause at each screenful: any key goes on, ESC ends the program')
    call tarn_set_pause_mode(1)
    do row = 1, 3 * tarn_screen_height()
      write (text, '(a,i0)') 'row ', row
      call tarn_write_line(trim(text))
    end do
    call tarn_set_pause_mode(0)
  end subroutine

  logical function is_prime(number)
    integer, intent(in) :: number
    integer :: divisor
    is_prime = .false.
    divisor = 2
    do while (divisor * divisor <= number)
      if (mod(number, divisor) == 0) return
      divisor = divisor + 1
    end do
    is_prime = number > 1
  end function

  subroutine progress()
    integer, parameter :: limit = 300000, percent = limit / 100
    character(30) :: text
    integer :: number, primes
    primes = 0
    call heading('A job that tells in the title how far it has come')
    do number = 1, limit
      if (is_prime(number)) primes = primes + 1
      if (mod(number, percent) == 0) call tarn_display_progress(number / percent)
    end do
    call tarn_display_progress(-1)
    write (text, '(i0,a,i0)') primes, ' primes up to ', limit
    call tarn_write_line(trim(text))
  end subroutine

  subroutine input()
    character(40) :: name
    integer :: length
    call tarn_write('Your name: ')
    if (tarn_console_read(name, len(name), length) /= 0 .or. length < 0) then
      call tarn_write_line('(no answer)')
      return
    end if
    call tarn_console_box_print(1, tarn_green, tarn_white + tarn_bright, tarn_c('Good day, %s'), &
      tarn_c(name(:length)))
  end subroutine
end module

program console_tour
  use tour
  implicit none
  if (wanted('colours')) call colours()
  if (wanted('boxes')) call boxes()
  if (wanted('lines')) call lines()
  if (wanted('pause')) call pause()
  if (wanted('progress')) call progress()
  if (wanted('input')) call input()
  call tarn_flush_console()

contains

  logical function wanted(part)
    character(*), intent(in) :: part
    character(20) :: argument
    integer :: i
    wanted = command_argument_count() == 0
    do i = 1, command_argument_count()
      call get_command_argument(i, argument)
      wanted = wanted .or. argument == part
    end do
  end function
end program
